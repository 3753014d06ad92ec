#pragma once

#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>

#include "platform/loop/scheduler.h"
#include "platform/loop/timer_queue.h"

namespace corvana::fakes {

/// A main queue whose time stands still until a test moves it.
class FakeScheduler final : public Scheduler, public Clock {
 public:
  void post(Task task) override { posted_.push_back(std::move(task)); }

  [[nodiscard]] Timer after(std::chrono::nanoseconds delay, Task task) override {
    return timers_.add(now_ + delay, std::chrono::nanoseconds(0), std::move(task));
  }
  [[nodiscard]] Timer every(std::chrono::nanoseconds period, Task task) override {
    return timers_.add(now_ + period, period, std::move(task));
  }

  std::chrono::steady_clock::time_point now() const override { return now_; }
  std::chrono::system_clock::time_point date() const override { return date_; }

  /// Runs what is posted, and what that posts.
  void runPosted() {
    while (!posted_.empty()) {
      const Task task = std::move(posted_.front());
      posted_.pop_front();
      task();
    }
  }

  /// Lets time pass, running everything that falls due.
  void advance(std::chrono::nanoseconds duration) {
    const auto end = now_ + duration;
    runPosted();
    while (timers_.nextDeadline() && *timers_.nextDeadline() <= end) {
      moveTo(std::max(now_, *timers_.nextDeadline()));
      timers_.fireNext(now_);
      runPosted();
    }
    moveTo(end);
  }

  /// Time passes with nothing running, as when the machine sleeps.
  void jump(std::chrono::nanoseconds duration) { moveTo(now_ + duration); }

  /// Somebody sets the clock.
  void setDate(std::chrono::system_clock::time_point date) { date_ = date; }

  std::size_t timerCount() const { return timers_.size(); }

 private:
  void moveTo(std::chrono::steady_clock::time_point time) {
    date_ += std::chrono::duration_cast<std::chrono::system_clock::duration>(time - now_);
    now_ = time;
  }

  std::chrono::steady_clock::time_point now_;
  std::chrono::system_clock::time_point date_{std::chrono::seconds(1'800'000'000)};
  std::deque<Task> posted_;
  TimerQueue timers_;
};

}  // namespace corvana::fakes
