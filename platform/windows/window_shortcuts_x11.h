#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/desktop/menu_item.h"
#include "platform/loop/event_loop_linux.h"

namespace corvana {

/// The menu's shortcuts, for an application without a window to press them in: they work in those windows of Chrome
/// that the application has opened or brought a link to last, as if it had a menu bar there. The Super key, which has
/// Command's place, keeps them out of the way of Chrome's and of web pages' own shortcuts. Without an X server, and
/// under Wayland, there are none. Main thread.
class WindowShortcutsX11 {
 public:
  /// Windows are known by their start-up IDs (_NET_STARTUP_ID) that begin with `startupIDPrefix`. `pressed` is told the
  /// action and when the key was pressed, in milliseconds of the X server.
  WindowShortcutsX11(EventLoop& loop, std::string startupIDPrefix,
                     std::function<void(MenuItem::Action, std::uint32_t)> pressed);
  WindowShortcutsX11(const WindowShortcutsX11&) = delete;
  WindowShortcutsX11& operator=(const WindowShortcutsX11&) = delete;
  ~WindowShortcutsX11();

  /// Takes the shortcuts of these entries from now on, instead of those before.
  void set(const std::vector<MenuItem>& menu);

 private:
  struct Keyboard;

  void serve();
  void takeActiveWindow();
  void watch(std::uint32_t window);

  EventLoop& loop_;
  std::string startupIDPrefix_;
  std::function<void(MenuItem::Action, std::uint32_t)> pressed_;
  std::unique_ptr<Keyboard> keyboard_;
};

}  // namespace corvana
