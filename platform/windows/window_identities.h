#pragma once

#include <string_view>

#include "platform/windows/browser_windows.h"

namespace corvana {

/// Whose windows docks and panels take Chrome's windows for. Where these go by applications instead of windows, as on
/// macOS, there is nothing to do. Main thread.
class WindowIdentities {
 public:
  virtual ~WindowIdentities() = default;

  /// From now on the window is shown as one of the application with that bundle identifier.
  virtual void set(BrowserWindows::Window window, std::string_view bundleIdentifier) = 0;

  /// The window is shown as Chrome's again, also when another program has set its identity, which may have been killed.
  virtual void restore(BrowserWindows::Window window) = 0;
};

}  // namespace corvana
