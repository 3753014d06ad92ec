#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/loop/scheduler.h"
#include "platform/loop/timer_queue.h"
#include "platform/process/unique_fd.h"

struct sd_event;
struct sd_event_source;

namespace corvana {

/// The main queue on Linux: an sd-event loop, which also carries the connections to the session bus and to the X
/// server. The thread that makes it is the main thread; `run` is called there, and only `post` may be called from
/// others.
class EventLoop final : public Scheduler, public Clock {
 public:
  /// Throws std::system_error when the system has no descriptors left.
  EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  ~EventLoop() override;

  void post(Task task) override;
  [[nodiscard]] Timer after(std::chrono::nanoseconds delay, Task task) override;
  [[nodiscard]] Timer every(std::chrono::nanoseconds period, Task task) override;

  std::chrono::steady_clock::time_point now() const override { return std::chrono::steady_clock::now(); }
  std::chrono::system_clock::time_point date() const override { return std::chrono::system_clock::now(); }

  /// Runs `task` whenever `descriptor` is readable, for as long as the token lives; the caller keeps the descriptor
  /// open that long.
  [[nodiscard]] Watch whenReadable(int descriptor, Task task);

  /// Runs `task` when the process receives `signal`, which from now on does nothing else. Call it before any thread is
  /// started, since it blocks the signal in the calling thread only.
  [[nodiscard]] Watch onSignal(int signal, Task task);

  /// Serves tasks until `quit`; returns its exit code.
  int run();

  /// Serves tasks until the condition, which is looked at after each round of them, holds.
  void runUntil(const std::function<bool()>& condition);

  /// What is due, but has not had its turn, has none any more.
  void quit(int exitCode);

  /// For what brings its own event sources, as connections to a bus do.
  sd_event* event() const { return event_.get(); }

 private:
  Timer startTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds period, Task task);
  void setAlarm();
  void onAlarm();
  Watch watchIO(int descriptor, std::uint32_t events, Task task);
  void runPosted();
  bool isQuitting() const;
  void assertMainThread() const;

  struct Unref {
    void operator()(sd_event* event) const;
    void operator()(sd_event_source* source) const;
  };

  std::unique_ptr<sd_event, Unref> event_;
  std::unique_ptr<sd_event_source, Unref> alarm_;
  std::uint64_t alarmTime_ = 0;  // as it was set last
  TimerQueue timers_;
  std::thread::id mainThread_ = std::this_thread::get_id();
  UniqueFD wakeUp_;
  Watch wakeUpWatch_;
  std::mutex mutex_;
  std::vector<Task> posted_;  // guarded by mutex_
};

}  // namespace corvana
