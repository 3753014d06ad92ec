#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace corvana {

using Task = std::function<void()>;

/// Keeps one timer or watch armed for as long as it lives: destroying or replacing it cancels. Move-only; used on the
/// main thread only. A one-shot timer that has fired leaves its token in place until the owner drops it.
class Timer {
 public:
  /// What a scheduler keeps per timer; its destructor cancels, also from inside the timer's own task.
  class Source {
   public:
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    virtual ~Source() = default;
  };

  Timer() = default;
  explicit Timer(std::unique_ptr<Source> source) : source_(std::move(source)) {}

  /// Whether this token holds a timer, fired or not.
  explicit operator bool() const { return source_ != nullptr; }

 private:
  std::unique_ptr<Source> source_;
};

/// The same for a descriptor or a signal that is watched.
using Watch = Timer;

/// The main queue: everything that the product decides runs on it, one task at a time.
/// Tasks must not throw. A task may cancel, replace or start any timer, its own included.
class Scheduler {
 public:
  virtual ~Scheduler() = default;

  /// Runs `task` on the main thread after the tasks posted before it, never inside the call. Any thread.
  virtual void post(Task task) = 0;

  /// Runs `task` once, `delay` from now. Main thread.
  [[nodiscard]] virtual Timer after(std::chrono::nanoseconds delay, Task task) = 0;

  /// Runs `task` every `period` (more than zero), the first time one period from now. Periods that passed unserved, as
  /// during the machine's sleep, are skipped. Main thread.
  [[nodiscard]] virtual Timer every(std::chrono::nanoseconds period, Task task) = 0;
};

/// Where the time comes from. Any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// For measuring elapsed time; never goes backwards.
  virtual std::chrono::steady_clock::time_point now() const = 0;

  /// For dates that people or files see; may jump when the clock is set.
  virtual std::chrono::system_clock::time_point date() const = 0;
};

}  // namespace corvana
