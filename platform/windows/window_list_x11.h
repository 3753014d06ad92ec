#pragma once

#include "platform/windows/window_list.h"

namespace corvana {

/// The windows that the X server's window manager looks after, by the "Extended Window Manager Hints" 1.5
/// (freedesktop.org): minimised ones and those of other workspaces among them. It connects for each list, being asked
/// seldom, so that it holds nothing in between and no server can end the program by ending itself.
class WindowListX11 final : public WindowList {
 public:
  std::optional<std::vector<WindowDescription>> windows() override;

  /// About the list that was given last; before there is one, whether it could be complete. False also where there is
  /// no list at all. Under Wayland the X server knows only the windows of programs that do not speak Wayland.
  bool canSeeOtherApplicationsWindows() override;

 private:
  std::optional<bool> isComplete_;
};

}  // namespace corvana
