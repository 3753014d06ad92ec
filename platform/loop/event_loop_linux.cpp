#include "platform/loop/event_loop_linux.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>
#include <system_error>
#include <utility>

namespace corvana {
namespace {

void check(int result, const char* what) {
  if (result < 0) throw std::system_error(-result, std::generic_category(), what);
}

/// A descriptor or a signal that is watched.
class Source final : public Watch::Source {
 public:
  explicit Source(Task task) : task_(std::make_shared<Task>(std::move(task))) {}
  ~Source() override { ::sd_event_source_disable_unref(source_); }

  sd_event_source** slot() { return &source_; }

  static int onIO(sd_event_source*, int, std::uint32_t, void* userData) noexcept { return run(userData); }
  static int onSignal(sd_event_source*, const signalfd_siginfo*, void* userData) noexcept { return run(userData); }

 private:
  static int run(void* userData) {
    // Held here, because the task may destroy its own token.
    const std::shared_ptr<Task> task = static_cast<Source*>(userData)->task_;
    (*task)();
    return 0;
  }

  std::shared_ptr<Task> task_;
  sd_event_source* source_ = nullptr;
};

/// When sd-event takes a time source to be due: not at all.
constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

std::uint64_t microseconds(std::chrono::steady_clock::time_point time) {
  return static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(time.time_since_epoch()).count());
}

}  // namespace

EventLoop::EventLoop() : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!wakeUp_) throw std::system_error(errno, std::generic_category(), "eventfd");
  sd_event* event = nullptr;
  check(::sd_event_new(&event), "sd_event_new");
  event_.reset(event);
  const auto onAlarm = [](sd_event_source*, std::uint64_t, void* loop) noexcept {
    static_cast<EventLoop*>(loop)->onAlarm();
    return 0;
  };
  constexpr std::uint64_t accuracy = 1;  // microseconds
  sd_event_source* alarm = nullptr;
  check(::sd_event_add_time(event, &alarm, CLOCK_MONOTONIC, never, accuracy, onAlarm, this), "sd_event_add_time");
  alarm_.reset(alarm);
  check(::sd_event_source_set_enabled(alarm, SD_EVENT_ON), "sd_event_source_set_enabled");
  const auto beforeSleep = [](sd_event_source*, void* loop) noexcept {
    static_cast<EventLoop*>(loop)->setAlarm();
    return 0;
  };
  check(::sd_event_source_set_prepare(alarm, beforeSleep), "sd_event_source_set_prepare");
  // Edge-triggered: each write wakes the loop once, and the counter need never be read.
  wakeUpWatch_ = watchIO(wakeUp_.get(), EPOLLIN | EPOLLET, [this] { runPosted(); });
}

EventLoop::~EventLoop() = default;

void EventLoop::Unref::operator()(sd_event* event) const {
  ::sd_event_unref(event);
}
void EventLoop::Unref::operator()(sd_event_source* source) const {
  ::sd_event_source_disable_unref(source);
}

void EventLoop::assertMainThread() const {
  assert(std::this_thread::get_id() == mainThread_);
}

void EventLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
    if (posted_.size() > 1) return;  // whoever posted the first has woken the loop, and it has not looked yet
  }
  const std::uint64_t one = 1;
  // It fails only when the counter is full, which no process lives to see.
  (void)!::write(wakeUp_.get(), &one, sizeof one);
}

void EventLoop::runPosted() {
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (Task& task : tasks) {
    if (isQuitting()) return;
    std::exchange(task, nullptr)();
  }
}

bool EventLoop::isQuitting() const {
  int exitCode = 0;
  return ::sd_event_get_exit_code(event_.get(), &exitCode) != -ENODATA;
}

Timer EventLoop::after(std::chrono::nanoseconds delay, Task task) {
  return startTimer(delay, std::chrono::nanoseconds(0), std::move(task));
}

Timer EventLoop::every(std::chrono::nanoseconds period, Task task) {
  assert(period.count() > 0);
  return startTimer(period, period, std::move(task));
}

Timer EventLoop::startTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds period, Task task) {
  assertMainThread();
  return timers_.add(now() + delay, period, std::move(task));
}

/// One alarm for all timers: sd-event would not keep those in order that fall due in the same turn. It is set each time
/// before the loop sleeps, so that a timer that was cancelled wakes nobody.
void EventLoop::setAlarm() {
  const auto deadline = timers_.nextDeadline();
  const std::uint64_t time = deadline ? microseconds(*deadline) : never;
  // It cannot fail for a source that is still there.
  if (std::exchange(alarmTime_, time) != time) (void)::sd_event_source_set_time(alarm_.get(), time);
}

void EventLoop::onAlarm() {
  // Only what is due now: a timer that is set up meanwhile has its turn after the other events.
  const auto due = now();
  while (!isQuitting() && timers_.fireNext(due)) {
  }
}

Watch EventLoop::whenReadable(int descriptor, Task task) {
  return watchIO(descriptor, EPOLLIN, std::move(task));
}

Watch EventLoop::watchIO(int descriptor, std::uint32_t events, Task task) {
  assertMainThread();
  auto source = std::make_unique<Source>(std::move(task));
  check(::sd_event_add_io(event_.get(), source->slot(), descriptor, events, &Source::onIO, source.get()),
        "sd_event_add_io");
  return Watch(std::move(source));
}

Watch EventLoop::onSignal(int signal, Task task) {
  assertMainThread();
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, signal);
  check(-::pthread_sigmask(SIG_BLOCK, &signals, nullptr), "pthread_sigmask");
  auto source = std::make_unique<Source>(std::move(task));
  check(::sd_event_add_signal(event_.get(), source->slot(), signal, &Source::onSignal, source.get()),
        "sd_event_add_signal");
  return Timer(std::move(source));
}

int EventLoop::run() {
  assertMainThread();
  const int code = ::sd_event_loop(event_.get());
  check(code, "sd_event_loop");
  return code;
}

void EventLoop::runUntil(const std::function<bool()>& condition) {
  assertMainThread();
  constexpr auto forEver = ~std::uint64_t{0};
  while (!condition()) check(::sd_event_run(event_.get(), forEver), "sd_event_run");
}

void EventLoop::quit(int exitCode) {
  assertMainThread();
  check(::sd_event_exit(event_.get(), exitCode), "sd_event_exit");
}

}  // namespace corvana
