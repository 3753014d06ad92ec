#include "platform/loop/main_queue_macos.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

#import <Foundation/Foundation.h>
#import <dispatch/dispatch.h>

namespace corvana {
namespace {

/// What the handler of a source needs. Shared with it, so that the task may destroy its own token.
struct Callback {
  Task task;
  bool isCancelled = false;
};

class Source final : public Timer::Source {
 public:
  /// `period` is DISPATCH_TIME_FOREVER for a timer that fires once.
  Source(std::chrono::nanoseconds delay, std::uint64_t period, Task task)
      : callback_(std::make_shared<Callback>()),
        source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, dispatch_get_main_queue())) {
    callback_->task = std::move(task);
    const std::shared_ptr<Callback> callback = callback_;
    dispatch_source_set_event_handler(source_, ^{
      if (!callback->isCancelled) callback->task();
    });
    const std::int64_t wait = std::max<std::int64_t>(delay.count(), 0);
    dispatch_source_set_timer(source_, dispatch_time(DISPATCH_TIME_NOW, wait), period, 0);
    dispatch_activate(source_);
  }

  ~Source() override {
    callback_->isCancelled = true;
    dispatch_source_cancel(source_);
  }

 private:
  std::shared_ptr<Callback> callback_;
  dispatch_source_t _Nonnull source_;
};

void assertMainThread() { assert(NSThread.isMainThread); }

}  // namespace

void MainQueue::post(Task task) {
  // Not a block: that would be copied, and the thread that posts could be the last to destroy what the task captured.
  dispatch_async_f(dispatch_get_main_queue(), new Task(std::move(task)), [](void* context) {
    const std::unique_ptr<Task> posted(static_cast<Task*>(context));
    (*posted)();
  });
}

Timer MainQueue::after(std::chrono::nanoseconds delay, Task task) {
  assertMainThread();
  return Timer(std::make_unique<Source>(delay, DISPATCH_TIME_FOREVER, std::move(task)));
}

Timer MainQueue::every(std::chrono::nanoseconds period, Task task) {
  assertMainThread();
  assert(period.count() > 0);
  // Dispatch counts from deadline to deadline and serves those that have passed as one.
  return Timer(std::make_unique<Source>(period, static_cast<std::uint64_t>(period.count()), std::move(task)));
}

}  // namespace corvana
