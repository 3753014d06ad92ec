#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "platform/loop/read_queue.h"

namespace corvana::fakes {

/// A read queue without a thread: descriptors are real, and read when a test says so.
class FakeReadQueue final : public ReadQueue {
 public:
  [[nodiscard]] Watch watch(UniqueFD descriptor, Handler onReadable) override {
    auto entry = std::make_shared<Entry>(Entry{std::move(descriptor), std::move(onReadable)});
    entries_->push_back(entry);
    return Watch(std::make_unique<Token>(entry, entries_));
  }

  /// Calls the handlers of what is readable, round by round, until nothing is.
  void pump() {
    while (true) {
      bool isIdle = true;
      for (const std::shared_ptr<Entry>& entry : std::vector(*entries_)) {
        pollfd poll{entry->descriptor.get(), POLLIN, 0};
        if (!entry->isArmed || ::poll(&poll, 1, 0) <= 0) continue;
        isIdle = false;
        const std::chrono::milliseconds pause = entry->handler(entry->descriptor.get());
        if (pause.count() == 0) continue;
        entry->isArmed = false;
        pauses.push_back(pause);
      }
      if (isIdle) return;
    }
  }

  /// As if all pauses had passed.
  void rearm() {
    for (const std::shared_ptr<Entry>& entry : *entries_) entry->isArmed = true;
  }

  /// The descriptor that was handed in last.
  int lastWatched() const { return entries_->back()->descriptor.get(); }

  std::size_t watchCount() const { return entries_->size(); }

  /// What handlers answered, where that was not to go on.
  std::vector<std::chrono::milliseconds> pauses;

 private:
  struct Entry {
    UniqueFD descriptor;
    Handler handler;
    bool isArmed = true;
  };
  using Entries = std::vector<std::shared_ptr<Entry>>;

  class Token final : public Watch::Source {
   public:
    Token(std::shared_ptr<Entry> entry, std::shared_ptr<Entries> entries)
        : entry_(std::move(entry)), entries_(std::move(entries)) {}
    ~Token() override { std::erase(*entries_, entry_); }

   private:
    std::shared_ptr<Entry> entry_;
    std::shared_ptr<Entries> entries_;
  };

  std::shared_ptr<Entries> entries_ = std::make_shared<Entries>();
};

}  // namespace corvana::fakes
