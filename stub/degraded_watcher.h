#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "core/ipc/messages.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/scheduler.h"
#include "platform/windows/window_list.h"

namespace corvana {

/// Counts Chrome's windows while the helper cannot: all of them, whatever their profile. Stops when it is destroyed.
/// Main thread.
class DegradedWatcher {
 public:
  struct Reading {
    std::int64_t count = 0;
    CountConfidence confidence = CountConfidence::unclassified;
    bool chromeRunning = false;

    bool operator==(const Reading&) const = default;
  };

  static constexpr std::chrono::seconds period{3};

  DegradedWatcher(Workspace& workspace, WindowList& windows, Scheduler& mainQueue,
                  std::function<void(const Reading&)> onReading);
  DegradedWatcher(const DegradedWatcher&) = delete;
  DegradedWatcher& operator=(const DegradedWatcher&) = delete;

  /// Takes a reading each period from now on, unless it does already. The watcher may be destroyed by what the reading
  /// leads to.
  void start();

 private:
  Reading read();

  Workspace& workspace_;
  WindowList& windows_;
  Scheduler& mainQueue_;
  std::function<void(const Reading&)> onReading_;
  Timer timer_;
};

}  // namespace corvana
