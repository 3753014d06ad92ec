#pragma once

#include "platform/windows/window_list.h"

namespace corvana {

/// The windows that the window server shows in the user's session, the desktop's own aside. Minimised and hidden ones
/// and those of other Spaces are missing.
class WindowListMacOS final : public WindowList {
 public:
  /// Nothing outside a graphical session.
  std::optional<std::vector<WindowDescription>> windows() override;

  /// Whether the user lets this program record the screen. Never asks the user; a running program may learn of a new
  /// permission only after its next start.
  bool canSeeOtherApplicationsWindows() override;
};

}  // namespace corvana
