#include "stub/degraded_watcher.h"

#include <utility>

#include "core/identity/log.h"
#include "core/stub/chrome_windows.h"

namespace corvana {

DegradedWatcher::DegradedWatcher(Workspace& workspace, WindowList& windows, Scheduler& mainQueue,
                                 std::function<void(const Reading&)> onReading)
    : workspace_(workspace), windows_(windows), mainQueue_(mainQueue), onReading_(std::move(onReading)) {}

void DegradedWatcher::start() {
  if (timer_) return;
  Log::stub.notice("helper unavailable; falling back to window-count polling (screen recording: ",
                   windows_.canSeeOtherApplicationsWindows() ? "granted" : "not granted", ")");
  timer_ = mainQueue_.every(period, [this] {
    const auto onReading = onReading_;  // outlives this watcher
    onReading(read());
  });
}

DegradedWatcher::Reading DegradedWatcher::read() {
  // Without a Chrome there are certainly no windows of it.
  if (!ChromeWindows::isChromeRunning(workspace_)) return {.count = 0, .confidence = CountConfidence::certain};
  return {.count = ChromeWindows::onScreenCount(workspace_, windows_).value_or(0),
          .confidence =
              windows_.canSeeOtherApplicationsWindows() ? CountConfidence::certain : CountConfidence::unclassified,
          .chromeRunning = true};
}

}  // namespace corvana
