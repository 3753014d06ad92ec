#include "platform/linux/workspace_linux.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/linux/browser_installation.h"
#include "platform/linux/detached_process.h"
#include "platform/user_directories.h"

namespace corvana {
namespace {

/// glibc 2.36 declares pidfd_open without C linkage, so that C++ cannot link to it.
UniqueFD pidfdOf(pid_t process) {
  return UniqueFD(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

/// What is wrong with how a program ended; nothing when all is well.
std::optional<OpenError> errorFrom(const std::string& program, const siginfo_t& ending) {
  if (ending.si_code == CLD_EXITED && ending.si_status == 0) return std::nullopt;
  const char* how = ending.si_code == CLD_EXITED ? " ended at once with exit status " : " was ended at once by signal ";
  return OpenError{program + how + std::to_string(ending.si_status)};
}

}  // namespace

std::optional<std::filesystem::path> WorkspaceLinux::urlForApplication(std::string_view bundleIdentifier) {
  const auto browser = BrowserInstallation::find(bundleIdentifier);
  return browser ? std::optional(browser->entry.file) : std::nullopt;
}

std::vector<RunningApplication> WorkspaceLinux::runningApplications(std::string_view bundleIdentifier) {
  const auto browser = BrowserInstallation::find(bundleIdentifier);
  const auto process = browser ? browser->mainProcess() : std::nullopt;
  if (!process) return {};
  return {{.bundleIdentifier = std::string(bundleIdentifier), .processIdentifier = *process}};
}

void WorkspaceLinux::openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                                     OpenCompletion completion) {
  const auto hasZeroByte = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  if (std::ranges::any_of(configuration.arguments, hasZeroByte)) {
    return report(std::move(completion), OpenError{"an argument holds a zero byte, which no program can be given"});
  }
  if (const auto browser = BrowserInstallation::at(file);
      browser && !configuration.createsNewApplicationInstance && browser->mainProcess()) {
    return report(std::move(completion), std::nullopt);
  }
  try {
    const DesktopEntry entry = DesktopEntry::read(file);
    const std::vector<std::string> command = entry.commandLine(configuration.arguments);
    const auto directory = entry.workingDirectory.empty() ? userDirectories::home() : entry.workingDirectory;
    try {
      const pid_t process = startDetached(command, directory);
      watch(process, command.front(), std::move(completion));
    } catch (const std::system_error& error) {
      report(std::move(completion), OpenError{file.string() + ": cannot start " + command.front() + " in " +
                                              directory.string() + ": " + error.code().message()});
    }
  } catch (const DesktopEntryError& error) {
    report(std::move(completion), OpenError{error.what()});
  }
}

void WorkspaceLinux::watch(pid_t process, std::string program, OpenCompletion completion) {
  // The process cannot be another's by now: nobody but us reaps it.
  Child child{.descriptor = pidfdOf(process),
              .program = std::move(program),
              .exit = {},
              .startUp = {},
              .completion = std::move(completion)};
  if (!child.descriptor) {
    // Out of descriptors: the program runs, its end just goes unseen.
    return report(std::move(child.completion), std::nullopt);
  }
  child.exit = loop_.whenReadable(child.descriptor.get(), [this, process] { childExited(process); });
  child.startUp = loop_.after(startUpTime_, [this, process] {
    report(std::exchange(children_.at(process).completion, nullptr), std::nullopt);
  });
  children_.insert_or_assign(process, std::move(child));
}

void WorkspaceLinux::childExited(pid_t process) {
  const Child child = std::move(children_.extract(process).mapped());
  siginfo_t ending{};
  const bool isKnown = ::waitid(P_PIDFD, static_cast<id_t>(child.descriptor.get()), &ending, WEXITED) == 0;
  // Unknown only when whoever started us made the system reap our children; that is no reason to speak of a failure.
  report(child.completion, isKnown ? errorFrom(child.program, ending) : std::nullopt);
}

void WorkspaceLinux::report(OpenCompletion completion, std::optional<OpenError> error) {
  if (!completion) return;
  loop_.post([completion = std::move(completion), error = std::move(error)] { completion(error); });
}

}  // namespace corvana
