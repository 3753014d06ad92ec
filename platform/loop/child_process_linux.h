#pragma once

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/loop/event_loop_linux.h"
#include "platform/process/unique_fd.h"

namespace corvana {

/// A program that was started with `startDetached`, watched until it ends. Destroying this only ends the watching.
/// Main thread.
class ChildProcess {
 public:
  /// Told how the program ended (waitid(2)); nothing when the system reaps our children itself.
  using Ended = std::function<void(std::optional<siginfo_t>)>;

  /// `ended` may destroy this object. Where the system has no descriptors left it is never called. Throws
  /// std::system_error when the program cannot be started.
  ChildProcess(EventLoop& loop, const std::vector<std::string>& command, const std::filesystem::path& workingDirectory,
               const std::vector<std::string>& environment, Ended ended);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t id() const { return id_; }
  bool isWatched() const { return static_cast<bool>(exit_); }

  /// Asks it to end. It has not been reaped yet, so that its number is still its own.
  void terminate() const;

 private:
  pid_t id_;
  UniqueFD descriptor_;
  Ended ended_;
  Watch exit_;
};

}  // namespace corvana
