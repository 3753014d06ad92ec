#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <utility>

#include "platform/scheduler.h"

namespace corvana::fakes {

/// A main queue whose time stands still until a test moves it. Tasks run in order of their deadlines, those with the
/// same one in the order in which they were set up.
class FakeScheduler final : public Scheduler, public Clock {
 public:
  void post(Task task) override { posted_.push_back(std::move(task)); }

  [[nodiscard]] Timer after(std::chrono::nanoseconds delay, Task task) override {
    return start(delay, std::chrono::nanoseconds(0), std::move(task));
  }
  [[nodiscard]] Timer every(std::chrono::nanoseconds period, Task task) override {
    return start(period, period, std::move(task));
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
    while (!timers_->empty() && timers_->begin()->first.first <= end) {
      const Key key = timers_->begin()->first;
      const std::shared_ptr<Entry> entry = timers_->begin()->second;
      timers_->erase(timers_->begin());
      moveTo(std::max(now_, key.first));
      entry->task();
      if (entry->period.count() > 0 && !entry->isCancelled) {
        const auto missed = (now_ - key.first) / entry->period;
        timers_->emplace(Key(key.first + (missed + 1) * entry->period, nextNumber_++), entry);
      }
      runPosted();
    }
    moveTo(end);
  }

  /// Time passes with nothing running, as when the machine sleeps.
  void jump(std::chrono::nanoseconds duration) { moveTo(now_ + duration); }

  /// Somebody sets the clock.
  void setDate(std::chrono::system_clock::time_point date) { date_ = date; }

  std::size_t timerCount() const { return timers_->size(); }

 private:
  using Key = std::pair<std::chrono::steady_clock::time_point, int>;
  struct Entry {
    Task task;
    std::chrono::nanoseconds period;
    bool isCancelled = false;
  };
  using Timers = std::map<Key, std::shared_ptr<Entry>>;

  class Source final : public Timer::Source {
   public:
    Source(std::shared_ptr<Entry> entry, std::weak_ptr<Timers> timers)
        : entry_(std::move(entry)), timers_(std::move(timers)) {}
    ~Source() override {
      entry_->isCancelled = true;
      if (const auto timers = timers_.lock()) {
        std::erase_if(*timers, [this](const auto& timer) { return timer.second == entry_; });
      }
    }

   private:
    std::shared_ptr<Entry> entry_;
    std::weak_ptr<Timers> timers_;
  };

  Timer start(std::chrono::nanoseconds delay, std::chrono::nanoseconds period, Task task) {
    auto entry = std::make_shared<Entry>(Entry{std::move(task), period});
    timers_->emplace(Key(now_ + delay, nextNumber_++), entry);
    return Timer(std::make_unique<Source>(std::move(entry), timers_));
  }

  void moveTo(std::chrono::steady_clock::time_point time) {
    date_ += std::chrono::duration_cast<std::chrono::system_clock::duration>(time - now_);
    now_ = time;
  }

  std::chrono::steady_clock::time_point now_;
  std::chrono::system_clock::time_point date_{std::chrono::seconds(1'800'000'000)};
  std::deque<Task> posted_;
  std::shared_ptr<Timers> timers_ = std::make_shared<Timers>();
  int nextNumber_ = 0;
};

}  // namespace corvana::fakes
