#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

namespace corvana::support {

/// A session bus of one's own, which the environment then names.
class PrivateBus {
 public:
  PrivateBus() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address", nullptr);
      ::_exit(1);
    }
    ::close(ends[1]);
    char address[512] = {};
    const ssize_t count = ::read(ends[0], address, sizeof address - 1);
    ::close(ends[0]);
    if (count <= 1) throw std::runtime_error("dbus-daemon did not start");
    ::setenv("DBUS_SESSION_BUS_ADDRESS", std::string(address, static_cast<std::size_t>(count) - 1).c_str(), 1);
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus() { stop(); }

  void stop() {
    if (pid_ == 0) return;
    ::kill(pid_, SIGKILL);  // other signals may be blocked here, and so there
    ::waitpid(std::exchange(pid_, 0), nullptr, 0);
  }

 private:
  pid_t pid_ = 0;
};

}  // namespace corvana::support
