#pragma once

#include <cstdint>
#include <optional>

#include "platform/desktop/workspace.h"
#include "platform/windows/window_list.h"

namespace corvana {

/// Chrome's windows as the system's own list of windows tells, of all profiles together. Main thread.
struct ChromeWindows {
  ChromeWindows() = delete;

  static std::optional<RunningApplication> runningChrome(Workspace& workspace);
  static bool isChromeRunning(Workspace& workspace);

  /// How many windows of Chrome there are, small ones such as bubbles aside. Nothing when Chrome does not run or there
  /// is no list.
  static std::optional<std::int64_t> onScreenCount(Workspace& workspace, WindowList& windows);
  static bool hasVisibleWindows(Workspace& workspace, WindowList& windows);
  /// Whether Chrome has windows; nothing when that cannot be known.
  static std::optional<bool> visibleWindows(Workspace& workspace, WindowList& windows);
};

}  // namespace corvana
