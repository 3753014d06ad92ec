#include "platform/linux/workspace_linux.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "platform/linux/application_bundle.h"
#include "platform/linux/browser_installation.h"
#include "platform/linux/detached_process.h"
#include "platform/linux/known_browsers.h"
#include "platform/linux/systemd_user.h"
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
  if (knownBrowser(bundleIdentifier) != nullptr) {
    const auto browser = BrowserInstallation::find(bundleIdentifier);
    return browser ? std::optional(browser->entry.file) : std::nullopt;
  }
  const auto entry = DesktopEntry::find(std::string(bundleIdentifier).append(".desktop"));
  if (!entry) return std::nullopt;
  return entry->bundle.empty() ? entry->file : entry->bundle;
}

std::vector<RunningApplication> WorkspaceLinux::runningApplications(std::string_view bundleIdentifier) {
  std::vector<pid_t> found;
  if (knownBrowser(bundleIdentifier) == nullptr) {
    found = ApplicationBundle::processes(bundleIdentifier);
  } else if (const auto browser = BrowserInstallation::find(bundleIdentifier)) {
    if (const auto process = browser->mainProcess()) found.push_back(*process);
  }
  std::vector<RunningApplication> result;
  for (const pid_t process : found) {
    result.push_back({.bundleIdentifier = std::string(bundleIdentifier), .processIdentifier = process});
  }
  return result;
}

void WorkspaceLinux::openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                                     OpenCompletion completion) {
  const auto hasZeroByte = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  if (std::ranges::any_of(configuration.arguments, hasZeroByte)) {
    return report(std::move(completion), OpenError{"an argument holds a zero byte, which no program can be given"});
  }
  if (file.extension() == ".app") return openBundle(file, configuration, std::move(completion));
  if (const auto browser = BrowserInstallation::at(file);
      browser && !configuration.createsNewApplicationInstance && browser->mainProcess()) {
    return report(std::move(completion), std::nullopt);
  }
  try {
    const DesktopEntry entry = DesktopEntry::read(file);
    const std::vector<std::string> command = entry.commandLine(configuration.arguments);
    const auto directory = entry.workingDirectory.empty() ? userDirectories::home() : entry.workingDirectory;
    (void)start(command, directory, std::move(completion));
  } catch (const DesktopEntryError& error) {
    report(std::move(completion), OpenError{error.what()});
  }
}

void WorkspaceLinux::openBundle(const std::filesystem::path& path, const OpenConfiguration& configuration,
                                OpenCompletion completion) {
  const auto bundle = ApplicationBundle::read(path);
  if (!bundle) return report(std::move(completion), OpenError{path.string() + ": there is no application"});
  if (!configuration.createsNewApplicationInstance && bundle->isRunning()) {
    return report(std::move(completion), std::nullopt);
  }
  std::vector<std::string> command{bundle->executable.string()};
  command.insert(command.end(), configuration.arguments.begin(), configuration.arguments.end());
  const pid_t process = start(command, userDirectories::home(), std::move(completion));
  if (process > 0) systemdUser::moveToOwnScope(process, bundle->identifier);
}

pid_t WorkspaceLinux::start(const std::vector<std::string>& command, const std::filesystem::path& directory,
                            OpenCompletion completion) {
  try {
    const pid_t process = startDetached(command, directory);
    watch(process, command.front(), std::move(completion));
    return process;
  } catch (const std::system_error& error) {
    report(std::move(completion),
           OpenError{"cannot start " + command.front() + " in " + directory.string() + ": " + error.code().message()});
    return 0;
  }
}

void WorkspaceLinux::terminate(const RunningApplication& application) {
  signal(application, SIGTERM);
}

void WorkspaceLinux::forceTerminate(const RunningApplication& application) {
  signal(application, SIGKILL);
}

void WorkspaceLinux::signal(const RunningApplication& application, int number) {
  // The process may have ended, and its number be another's by now.
  const auto running = runningApplications(application.bundleIdentifier);
  if (std::ranges::count(running, application) > 0) (void)::kill(application.processIdentifier, number);
}

void WorkspaceLinux::watch(pid_t process, std::string program, OpenCompletion completion) {
  // The process cannot be another's by now: nobody but us reaps it.
  Child& child = children_[process];
  child = {.descriptor = pidfdOf(process), .program = std::move(program), .completion = std::move(completion)};
  try {
    if (!child.descriptor) throw std::system_error(errno, std::generic_category(), "pidfd_open");
    child.exit = loop_.whenReadable(child.descriptor.get(), [this, process] { childExited(process); });
    child.startUp = loop_.after(startUpTime_, [this, process] {
      report(std::exchange(children_.at(process).completion, nullptr), std::nullopt);
    });
  } catch (const std::system_error&) {
    // Out of descriptors: the program runs, its end just goes unseen.
    report(std::move(child.completion), std::nullopt);
    children_.erase(process);
  }
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
