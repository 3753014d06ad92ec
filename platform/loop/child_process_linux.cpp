#include "platform/loop/child_process_linux.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "platform/process/detached_process_linux.h"

namespace corvana {

ChildProcess::ChildProcess(EventLoop& loop, const std::vector<std::string>& command,
                           const std::filesystem::path& workingDirectory, const std::vector<std::string>& environment,
                           Ended ended)
    : id_(startDetached(command, workingDirectory, environment)),
      // glibc 2.36 declares pidfd_open without C linkage, so that C++ cannot link to it.
      descriptor_(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0))),
      ended_(std::move(ended)) {
  if (!descriptor_) return;
  try {
    exit_ = loop.whenReadable(descriptor_.get(), [this] {
      siginfo_t ending{};
      const bool isKnown = ::waitid(P_PIDFD, static_cast<id_t>(descriptor_.get()), &ending, WEXITED) == 0;
      const Ended callback = std::move(ended_);
      exit_ = {};
      callback(isKnown ? std::optional(ending) : std::nullopt);
    });
  } catch (const std::system_error&) {
    // The program runs, its end just goes unseen.
  }
}

void ChildProcess::terminate() const {
  (void)::kill(id_, SIGTERM);
}

}  // namespace corvana
