#include "core/stub/chrome_windows.h"

#include <algorithm>

#include "core/identity/corvana.h"

namespace corvana {
namespace {

bool qualifies(const WindowDescription& window, pid_t chrome) {
  constexpr double leastHeight = 100;  // what is not higher is a bubble or a bar
  return window.owner == chrome && window.height && *window.height > leastHeight && window.layer.value_or(0) == 0;
}

}  // namespace

std::optional<RunningApplication> ChromeWindows::runningChrome(Workspace& workspace) {
  const auto running = workspace.runningApplications(Corvana::chromeBundleID);
  return running.empty() ? std::nullopt : std::optional(running.front());
}

bool ChromeWindows::isChromeRunning(Workspace& workspace) {
  return runningChrome(workspace).has_value();
}

std::optional<std::int64_t> ChromeWindows::onScreenCount(Workspace& workspace, WindowList& windows) {
  const auto chrome = runningChrome(workspace);
  const auto list = chrome ? windows.windows() : std::nullopt;
  if (!list) return std::nullopt;
  return std::ranges::count_if(
      *list, [&chrome](const WindowDescription& window) { return qualifies(window, chrome->processIdentifier); });
}

bool ChromeWindows::hasVisibleWindows(Workspace& workspace, WindowList& windows) {
  return onScreenCount(workspace, windows).value_or(0) > 0;
}

std::optional<bool> ChromeWindows::visibleWindows(Workspace& workspace, WindowList& windows) {
  if (!windows.canSeeOtherApplicationsWindows()) return std::nullopt;
  const auto count = onScreenCount(workspace, windows);
  return count ? std::optional(*count >= 1) : std::nullopt;
}

}  // namespace corvana
