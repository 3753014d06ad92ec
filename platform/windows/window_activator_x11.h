#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>

#include "platform/loop/event_loop_linux.h"

namespace corvana {

/// Brings a process's windows to the front, by the window manager's leave: "Extended Window Manager Hints" 1.5
/// (freedesktop.org), _NET_ACTIVE_WINDOW. It is connected to the X server only while it works. Main thread.
class WindowActivatorX11 {
 public:
  /// How long the window manager may take.
  static constexpr std::chrono::milliseconds limit{500};

  explicit WindowActivatorX11(EventLoop& loop);
  WindowActivatorX11(const WindowActivatorX11&) = delete;
  WindowActivatorX11& operator=(const WindowActivatorX11&) = delete;
  ~WindowActivatorX11();

  /// Asks for the topmost browser window of `process`, unless a window of it is in front already. `userTime` is when
  /// the user asked for it, in milliseconds of the X server. `completion` is called once with whether a window of
  /// `process` is in front; maybe before this call returns, and with false when a later call takes over.
  void activate(pid_t process, std::uint32_t userTime, std::function<void(bool)> completion);

 private:
  struct Attempt;

  void check();
  void finish(bool succeeded);

  EventLoop& loop_;
  std::unique_ptr<Attempt> attempt_;
};

}  // namespace corvana
