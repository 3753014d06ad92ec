#include "platform/loop/read_queue_linux.h"

#include <pthread.h>

#include <csignal>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/loop/event_loop_linux.h"

namespace corvana {

class ReadQueueLinux::Worker {
 public:
  /// Serves the queue on the calling thread until `stop`; tells `ready` when it can be used.
  void run(std::promise<void>& ready) {
    std::optional<EventLoop> loop;
    try {
      loop.emplace();
    } catch (...) {
      ready.set_exception(std::current_exception());
      return;
    }
    {
      const std::lock_guard lock(mutex_);
      loop_ = &*loop;
    }
    ready.set_value();  // not to be touched any more
    loop->run();
    {
      const std::lock_guard lock(mutex_);
      loop_ = nullptr;
    }
    watched_.clear();  // before the loop that they are registered with, and unlocked: handlers may own watches
  }

  void stop() {
    post([this] { loop_->quit(0); });
  }

  void add(int id, UniqueFD descriptor, Handler handler) {
    // Shared, because a task can be copied.
    auto entry = std::make_shared<Watched>(std::move(descriptor), std::move(handler));
    post([this, id, entry] {
      watched_.emplace(id, entry);
      arm(*entry);
    });
  }

  void remove(int id) {
    post([this, id] { watched_.erase(id); });
  }

  int nextID() {
    const std::lock_guard lock(mutex_);
    return nextID_++;
  }

 private:
  struct Watched {
    Watched(UniqueFD fd, Handler onReadable) : descriptor(std::move(fd)), handler(std::move(onReadable)) {}

    UniqueFD descriptor;
    Handler handler;
    Watch watch;  // while the descriptor is looked at
    Timer pause;  // while it is left alone
  };

  /// On the loop's thread from here on.
  void arm(Watched& entry) {
    entry.pause = {};
    try {
      entry.watch = loop_->whenReadable(entry.descriptor.get(), [this, &entry] { onReadable(entry); });
    } catch (const std::system_error&) {
      // The system has no room for it now; it is not given up for that.
      entry.pause = loop_->after(std::chrono::milliseconds(100), [this, &entry] { arm(entry); });
    }
  }

  void onReadable(Watched& entry) {
    const std::chrono::milliseconds wait = entry.handler(entry.descriptor.get());
    if (wait.count() == 0) return;
    entry.watch = {};
    if (wait != never) entry.pause = loop_->after(wait, [this, &entry] { arm(entry); });
  }

  /// Does nothing once the loop has ended.
  void post(Task task) {
    const std::lock_guard lock(mutex_);
    if (loop_ != nullptr) loop_->post(std::move(task));
  }

  std::mutex mutex_;
  EventLoop* loop_ = nullptr;  // guarded by mutex_ off the loop's thread; set before and cleared after all else there
  int nextID_ = 0;             // guarded by mutex_
  std::map<int, std::shared_ptr<Watched>> watched_;  // the loop's thread only
};

namespace {

class QueueSource final : public Watch::Source {
 public:
  QueueSource(std::shared_ptr<ReadQueueLinux::Worker> worker, int id) : worker_(std::move(worker)), id_(id) {}
  ~QueueSource() override { worker_->remove(id_); }

 private:
  std::shared_ptr<ReadQueueLinux::Worker> worker_;
  int id_;
};

}  // namespace

ReadQueueLinux::ReadQueueLinux(const std::string& label) : worker_(std::make_shared<Worker>()) {
  std::promise<void> ready;
  // Signals are the main thread's: a thread inherits the mask of its maker.
  sigset_t all;
  sigset_t previous;
  ::sigfillset(&all);
  (void)::pthread_sigmask(SIG_SETMASK, &all, &previous);
  thread_ = std::thread([worker = worker_, &ready] { worker->run(ready); });
  (void)::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  (void)::pthread_setname_np(thread_.native_handle(), label.substr(label.size() > 15 ? label.size() - 15 : 0).c_str());
  try {
    ready.get_future().get();
  } catch (...) {
    thread_.join();
    throw;
  }
}

ReadQueueLinux::~ReadQueueLinux() {
  worker_->stop();
  thread_.join();
}

Watch ReadQueueLinux::watch(UniqueFD descriptor, Handler onReadable) {
  const int id = worker_->nextID();
  worker_->add(id, std::move(descriptor), std::move(onReadable));
  return Watch(std::make_unique<QueueSource>(worker_, id));
}

}  // namespace corvana
