#include "platform/loop/read_queue_macos.h"

#include <cassert>
#include <cstdint>
#include <utility>

#import <dispatch/dispatch.h>

#include "platform/loop/lifetime.h"

namespace corvana {

struct ReadQueueMacOS::Queue {
  explicit Queue(const std::string& label) : queue(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {}

  dispatch_queue_t _Nonnull queue;
  bool isOpen = true;  // on the queue only
};

namespace {

/// A descriptor with its source, to which this object belongs: the source destroys it, on the queue, when it has been
/// cancelled and looks at the descriptor no more. Until then each keeps the other. All happens on the queue but the
/// making and `end`, so that suspending and resuming are counted without a lock.
class Watched {
 public:
  Watched(std::shared_ptr<ReadQueueMacOS::Queue> queue, UniqueFD descriptor, ReadQueue::Handler handler)
      : queue_(std::move(queue)),
        descriptor_(std::move(descriptor)),
        handler_(std::move(handler)),
        source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_READ, static_cast<std::uintptr_t>(descriptor_.get()), 0,
                                       queue_->queue)) {
    dispatch_set_context(source_, this);
    dispatch_source_set_event_handler_f(source_, [](void* self) { static_cast<Watched*>(self)->onReadable(); });
    dispatch_source_set_cancel_handler_f(source_, [](void* self) { delete static_cast<Watched*>(self); });
    dispatch_activate(source_);
  }
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;

  /// Any thread, once; this object may be gone when the call returns.
  void end() {
    dispatch_async_f(queue_->queue, this, [](void* self) { static_cast<Watched*>(self)->cancel(); });
  }

 private:
  void onReadable() {
    // Nobody reads any more once the queue is closed, and the source would call for ever.
    const std::chrono::milliseconds wait = queue_->isOpen ? handler_(descriptor_.get()) : ReadQueue::never;
    if (wait.count() == 0) return;
    dispatch_suspend(source_);
    isSuspended_ = true;
    if (wait == ReadQueue::never) return;
    // Guarded, because the pause may end after this object.
    const auto resumeIfAlive = lifetime_.guard([this] { resume(); });
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, std::chrono::nanoseconds(wait).count()), queue_->queue, ^{
      resumeIfAlive();
    });
  }

  /// Nothing happens when `cancel` came first: resuming once too often ends the program.
  void resume() {
    if (std::exchange(isSuspended_, false)) dispatch_resume(source_);
  }

  void cancel() {
    dispatch_source_cancel(source_);
    // Not called again, since this runs on the queue. What it captured goes now, before the queue's owner is told that
    // all has ended; the descriptor has to wait for the system.
    handler_ = nullptr;
    resume();  // a suspended source would not get as far as being cancelled, nor may it be released
  }

  std::shared_ptr<ReadQueueMacOS::Queue> queue_;
  UniqueFD descriptor_;
  ReadQueue::Handler handler_;
  dispatch_source_t _Nonnull source_;
  bool isSuspended_ = false;
  Lifetime lifetime_;
};

class Source final : public Watch::Source {
 public:
  Source(std::shared_ptr<ReadQueueMacOS::Queue> queue, UniqueFD descriptor, ReadQueue::Handler handler)
      : watched_(new Watched(std::move(queue), std::move(descriptor), std::move(handler))) {}
  ~Source() override { watched_->end(); }

 private:
  Watched* watched_;  // owned by the system's source, which only this object ends
};

}  // namespace

ReadQueueMacOS::ReadQueueMacOS(const std::string& label) : queue_(std::make_shared<Queue>(label)) {}

ReadQueueMacOS::~ReadQueueMacOS() {
  dispatch_sync(queue_->queue, ^{
    queue_->isOpen = false;
  });
}

Watch ReadQueueMacOS::watch(UniqueFD descriptor, Handler onReadable) {
  assert(descriptor);
  return Watch(std::make_unique<Source>(queue_, std::move(descriptor), std::move(onReadable)));
}

}  // namespace corvana
