#pragma once

#include "platform/loop/scheduler.h"

namespace corvana {

/// The main queue on macOS: the one that the application's run loop serves. It has no state of its own, so that any
/// number of these objects are the same queue. Delays do not count the time that the machine sleeps.
class MainQueue final : public Scheduler, public Clock {
 public:
  void post(Task task) override;
  [[nodiscard]] Timer after(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] Timer every(std::chrono::nanoseconds period, Task task) override;

  std::chrono::steady_clock::time_point now() const override { return std::chrono::steady_clock::now(); }
  std::chrono::system_clock::time_point date() const override { return std::chrono::system_clock::now(); }
};

}  // namespace corvana
