#pragma once

#include "platform/desktop/login_items.h"

namespace corvana {

/// The helper's start at login. Blocks; main thread.
struct LoginItem {
  LoginItem() = delete;

  static bool isEnabled(LoginItems& items);

  /// The user has switched it off in the system's settings and has to allow it there.
  static bool needsApproval(LoginItems& items);

  /// Throws std::runtime_error when the system refuses.
  static void setEnabled(LoginItems& items, bool on);

  /// Removes the LaunchAgent by which earlier builds started the helper, if there is one. Throws
  /// std::filesystem::filesystem_error when its file cannot be deleted.
  static void removeLegacyLaunchAgent();
};

}  // namespace corvana
