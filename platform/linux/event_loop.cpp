#include "platform/linux/event_loop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace corvana {
namespace {

void check(int result, const char* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

/// What the callback of a source needs. Shared with the running callback, so that the task may destroy its own token.
struct Callback {
  Task task;
  std::chrono::microseconds period{0};
  bool cancelled = false;
};

class Source final : public Timer::Source {
 public:
  explicit Source(Task task, std::chrono::microseconds period = {}) : callback_(std::make_shared<Callback>()) {
    callback_->task = std::move(task);
    callback_->period = period;
  }
  ~Source() override {
    callback_->cancelled = true;
    ::sd_event_source_disable_unref(source_);
  }

  sd_event_source** slot() { return &source_; }
  void* userData() { return this; }

  /// Runs the task of the source that sd-event hands back. Afterwards the source may be gone, with `userData`.
  static std::shared_ptr<Callback> run(void* userData) noexcept {
    std::shared_ptr<Callback> callback = static_cast<Source*>(userData)->callback_;
    callback->task();
    return callback;
  }

  static int onTime(sd_event_source* source, std::uint64_t due, void* userData) noexcept {
    const std::shared_ptr<Callback> callback = run(userData);
    if (callback->cancelled || callback->period.count() == 0) return 0;
    // From deadline to deadline, so that a slow task makes no drift; deadlines that have passed are skipped.
    const auto period = static_cast<std::uint64_t>(callback->period.count());
    std::uint64_t now = 0;
    (void)::sd_event_now(::sd_event_source_get_event(source), CLOCK_MONOTONIC,
                         &now);  // fails only before the first turn
    const std::uint64_t missed = now > due ? (now - due) / period : 0;
    [[maybe_unused]] const int timed = ::sd_event_source_set_time(source, due + (missed + 1) * period);
    [[maybe_unused]] const int enabled = ::sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
    assert(timed >= 0 && enabled >= 0);  // neither fails on a timer of a running loop
    return 0;
  }

  static int onIO(sd_event_source*, int, std::uint32_t, void* userData) noexcept {
    run(userData);
    return 0;
  }

  static int onSignal(sd_event_source*, const signalfd_siginfo*, void* userData) noexcept {
    run(userData);
    return 0;
  }

 private:
  std::shared_ptr<Callback> callback_;
  sd_event_source* source_ = nullptr;
};

}  // namespace

EventLoop::EventLoop() : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wakeUp_) throw std::system_error(errno, std::generic_category(), "eventfd");
  check(::sd_event_new(&event_), "sd_event_new");
  wakeUpWatch_ = whenReadable(wakeUp_.get(), [this] { runPosted(); });
}

EventLoop::~EventLoop() {
  wakeUpWatch_ = {};
  ::sd_event_unref(event_);
}

void EventLoop::assertMainThread() const {
  assert(std::this_thread::get_id() == mainThread_);
}

void EventLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const std::uint64_t one = 1;
  // It fails only when the counter is full, and then the loop is awake anyway.
  (void)!::write(wakeUp_.get(), &one, sizeof one);
}

void EventLoop::runPosted() {
  std::uint64_t count = 0;
  (void)!::read(wakeUp_.get(), &count, sizeof count);
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (Task& task : tasks) std::exchange(task, nullptr)();
}

Timer EventLoop::startTimer(std::chrono::nanoseconds delay, std::chrono::microseconds period, Task task) {
  assertMainThread();
  auto source = std::make_unique<Source>(std::move(task), period);
  const auto microseconds = std::chrono::ceil<std::chrono::microseconds>(std::max(delay, std::chrono::nanoseconds(0)));
  check(::sd_event_add_time_relative(event_, source->slot(), CLOCK_MONOTONIC,
                                     static_cast<std::uint64_t>(microseconds.count()), 1, &Source::onTime,
                                     source->userData()),
        "sd_event_add_time_relative");
  return Timer(std::move(source));
}

Timer EventLoop::after(std::chrono::nanoseconds delay, Task task) {
  return startTimer(delay, std::chrono::microseconds(0), std::move(task));
}

Timer EventLoop::every(std::chrono::nanoseconds period, Task task) {
  assert(period.count() > 0);
  return startTimer(period, std::chrono::ceil<std::chrono::microseconds>(period), std::move(task));
}

Timer EventLoop::whenReadable(int descriptor, Task task) {
  assertMainThread();
  auto source = std::make_unique<Source>(std::move(task));
  check(::sd_event_add_io(event_, source->slot(), descriptor, EPOLLIN, &Source::onIO, source->userData()),
        "sd_event_add_io");
  return Timer(std::move(source));
}

Timer EventLoop::onSignal(int signal, Task task) {
  assertMainThread();
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, signal);
  check(-::pthread_sigmask(SIG_BLOCK, &signals, nullptr), "pthread_sigmask");
  auto source = std::make_unique<Source>(std::move(task));
  check(::sd_event_add_signal(event_, source->slot(), signal, &Source::onSignal, source->userData()),
        "sd_event_add_signal");
  return Timer(std::move(source));
}

int EventLoop::run() {
  assertMainThread();
  const int code = ::sd_event_loop(event_);
  check(code, "sd_event_loop");
  return code;
}

void EventLoop::quit(int exitCode) {
  assertMainThread();
  check(::sd_event_exit(event_, exitCode), "sd_event_exit");
}

}  // namespace corvana
