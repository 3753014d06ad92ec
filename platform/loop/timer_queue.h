#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "platform/loop/scheduler.h"

namespace corvana {

/// The timers of a main queue, in the order in which they fire: by deadline, those with the same one in the order in
/// which they were set up. Used on one thread; tokens may outlive the queue.
class TimerQueue {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// A period of zero is that of a timer that fires once.
  [[nodiscard]] Timer add(TimePoint deadline, std::chrono::nanoseconds period, Task task) {
    auto entry = std::make_shared<Entry>(Entry{std::move(task), period, Key(deadline, nextNumber_++)});
    entries_->emplace(entry->key, entry);
    return Timer(std::make_unique<Token>(std::move(entry), entries_));
  }

  std::optional<TimePoint> nextDeadline() const {
    return entries_->empty() ? std::nullopt : std::optional(entries_->begin()->first.first);
  }

  /// Fires the first timer if it is due, and sets a repeating one up again: from deadline to deadline, so that a slow
  /// task makes no drift, and past those that were missed. False when none was due.
  bool fireNext(TimePoint now) {
    if (entries_->empty() || entries_->begin()->first.first > now) return false;
    // Held here, because the task may destroy its own token.
    const std::shared_ptr<Entry> entry = entries_->extract(entries_->begin()).mapped();
    entry->task();
    if (entry->period.count() > 0 && !entry->isCancelled) {
      const TimePoint deadline = entry->key.first;
      const auto missed = (now - deadline) / entry->period;
      entry->key = Key(deadline + (missed + 1) * entry->period, nextNumber_++);
      entries_->emplace(entry->key, entry);
    }
    return true;
  }

  std::size_t size() const { return entries_->size(); }

 private:
  using Key = std::pair<TimePoint, std::uint64_t>;
  struct Entry {
    Task task;
    std::chrono::nanoseconds period;
    Key key;  // numbers are never used twice, so that a timer that has fired erases no other
    bool isCancelled = false;
  };
  using Entries = std::map<Key, std::shared_ptr<Entry>>;

  class Token final : public Timer::Source {
   public:
    Token(std::shared_ptr<Entry> entry, std::weak_ptr<Entries> entries)
        : entry_(std::move(entry)), entries_(std::move(entries)) {}
    ~Token() override {
      entry_->isCancelled = true;
      if (const auto entries = entries_.lock()) entries->erase(entry_->key);
    }

   private:
    std::shared_ptr<Entry> entry_;
    std::weak_ptr<Entries> entries_;
  };

  std::shared_ptr<Entries> entries_ = std::make_shared<Entries>();
  std::uint64_t nextNumber_ = 0;
};

}  // namespace corvana
