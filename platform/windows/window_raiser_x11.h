#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "platform/desktop/launch_context_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/windows/browser_window_list_x11.h"

namespace corvana {

/// Brings windows forward by the window manager's leave, and sees whether it has done so. Main thread.
class WindowRaiserX11 {
 public:
  /// How long the window manager may take.
  static constexpr std::chrono::milliseconds limit{500};
  /// When it is asked once more, without the time of the user's action: some distrust one that is not the newest.
  static constexpr std::chrono::milliseconds retryDelay{150};

  /// What is passed must outlive this object.
  WindowRaiserX11(EventLoop& loop, BrowserWindowListX11& list, const LaunchContext& context);
  WindowRaiserX11(const WindowRaiserX11&) = delete;
  WindowRaiserX11& operator=(const WindowRaiserX11&) = delete;

  /// See BrowserWindows::raise. False as well when another call takes over.
  void raise(const std::vector<BrowserWindows::Window>& windows, BrowserWindows::Completion<bool> completion);

  /// The list has changed.
  void check();

 private:
  void restack(const std::vector<BrowserWindows::Window>& windows) const;
  void finish(bool succeeded);

  EventLoop& loop_;
  BrowserWindowListX11& list_;
  const LaunchContext& context_;
  std::optional<BrowserWindows::Window> target_;
  BrowserWindows::Completion<bool> completion_;
  Timer retry_;
  Timer timeout_;
  Lifetime lifetime_;
};

}  // namespace corvana
