#include "platform/desktop/workspace_linux.h"

#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <limits>
#include <system_error>
#include <utility>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/application_calls_linux.h"
#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/known_browsers_linux.h"
#include "platform/files/user_directories.h"
#include "platform/process/systemd_user_linux.h"
#include "platform/text/ascii.h"

namespace corvana {
namespace {

/// What is wrong with how a program ended; nothing when all is well.
std::optional<OpenError> errorFrom(const std::string& program, const siginfo_t& ending) {
  if (ending.si_code == CLD_EXITED && ending.si_status == 0) return std::nullopt;
  const char* how = ending.si_code == CLD_EXITED ? " ended at once with exit status " : " was ended at once by signal ";
  return OpenError{program + how + std::to_string(ending.si_status)};
}

/// Whether the text begins with a scheme, so that no program takes it for an option or a file.
bool isURL(const std::string& text) {
  const auto isOfScheme = [](char c) { return ascii::isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; };
  const std::size_t colon = text.find(':');
  return colon != std::string::npos && colon > 0 && ascii::isLetter(text.front()) &&
         std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), isOfScheme);
}

}  // namespace

std::optional<std::filesystem::path> WorkspaceLinux::urlForApplication(std::string_view bundleIdentifier) {
  if (knownBrowser(bundleIdentifier) != nullptr) {
    const auto browser = BrowserInstallation::find(bundleIdentifier);
    return browser ? std::optional(browser->entry.file) : std::nullopt;
  }
  for (const std::string& name : {std::string(bundleIdentifier), applicationID(bundleIdentifier)}) {
    const auto entry = DesktopEntry::find(name + ".desktop");
    if (!entry) continue;
    if (entry->bundle.empty()) return entry->file;
    // The application may have gone, and another one have been put where it was.
    const auto bundle = ApplicationBundle::read(entry->bundle);
    if (bundle && bundle->identifier == bundleIdentifier) return entry->bundle;
  }
  return std::nullopt;
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

void WorkspaceLinux::openApplication(const std::filesystem::path& file, const OpenConfiguration& wanted,
                                     OpenCompletion completion) {
  const auto hasZeroByte = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  if (std::ranges::any_of(wanted.arguments, hasZeroByte)) {
    return report(std::move(completion), OpenError{"an argument holds a zero byte, which no program can be given"});
  }
  OpenConfiguration configuration = wanted;
  if (const auto tooLong = LaunchQueue::takeOutTooLong(configuration.arguments)) {
    const auto isOption = [](const std::string& argument) { return argument.starts_with("--"); };
    if (std::ranges::all_of(configuration.arguments, isOption)) return report(std::move(completion), tooLong);
    completion = [completion = std::move(completion), tooLong](const std::optional<OpenError>& error) {
      if (completion) completion(error ? error : tooLong);
    };
  }
  if (file.extension() == ".app") return openBundle(file, configuration, std::move(completion));
  const auto browser = BrowserInstallation::at(file);
  if (browser && !browser->userDataDirectory.empty()) {
    return queue_.launch(*browser, configuration, std::move(completion));
  }
  try {
    (void)openEntry(DesktopEntry::read(file), configuration.arguments, browser.has_value(), std::move(completion));
  } catch (const DesktopEntryError& error) {
    report(std::move(completion), OpenError{error.what()});
  }
}

pid_t WorkspaceLinux::openEntry(const DesktopEntry& entry, const std::vector<std::string>& arguments, bool isBrowser,
                                OpenCompletion completion) {
  const std::vector<std::string> command = entry.commandLine(arguments);
  const auto directory = entry.workingDirectory.empty() ? userDirectories::home() : entry.workingDirectory;
  std::vector<std::string> environment = context_.environment();
  // Chrome decides at its start whether its windows can be told apart, and closed, over the accessibility bus.
  if (isBrowser) environment.emplace_back("ACCESSIBILITY_ENABLED=1");
  return start(command, directory, environment, std::move(completion));
}

pid_t WorkspaceLinux::start(const BrowserInstallation& browser, const std::vector<std::string>& arguments,
                            OpenCompletion completion) {
  try {
    return openEntry(browser.entry, arguments, true, completion);
  } catch (const DesktopEntryError& error) {
    report(std::move(completion), OpenError{error.what()});
    return 0;
  }
}

bool WorkspaceLinux::hasEnded(pid_t process) {
  siginfo_t ending{};
  // Its end is left for whoever watches it. One that nobody is told of, or that was reaped already, has ended as well.
  const int result = ::waitid(P_PID, static_cast<id_t>(process), &ending, WEXITED | WNOHANG | WNOWAIT);
  return result != 0 || ending.si_pid != 0;
}

void WorkspaceLinux::notice(const std::string& text) {
  if (notice_) notice_(text);
}

void WorkspaceLinux::openBundle(const std::filesystem::path& path, const OpenConfiguration& configuration,
                                OpenCompletion completion) {
  const auto bundle = ApplicationBundle::read(path);
  if (!bundle) return report(std::move(completion), OpenError{path.string() + ": there is no application"});
  if (!configuration.createsNewApplicationInstance && bundle->isRunning()) {
    return report(std::move(completion), std::nullopt);
  }
  auto call = std::make_unique<Call>(Call{
      *this, nextCall_++, *bundle, configuration.arguments, context_.environment(), std::move(completion), {}, {}});
  if (callBundle(call)) return;
  startBundle(call->bundle, call->arguments, call->environment, std::move(call->completion));
}

bool WorkspaceLinux::callBundle(std::unique_ptr<Call>& call) {
  // What is no URL is for the program's own command line.
  if (bus_ == nullptr || !std::ranges::all_of(call->arguments, isURL)) return false;
  PlatformData data;
  for (const std::string& variable : call->environment) {
    const auto value = [&variable](std::string_view name) {
      return variable.starts_with(name) ? variable.substr(name.size()) : std::string();
    };
    if (data.startupID.empty()) data.startupID = value("DESKTOP_STARTUP_ID=");
    if (data.activationToken.empty()) data.activationToken = value("XDG_ACTIVATION_TOKEN=");
  }
  BusMessage message;
  try {
    message = applicationCalls::open(*bus_, applicationID(call->bundle.identifier), call->arguments, data);
  } catch (const std::system_error&) {
    return false;  // a text that the bus does not carry
  }
  sd_bus_slot* slot = nullptr;
  constexpr std::uint64_t noLimit = std::numeric_limits<std::uint64_t>::max();
  if (!message || ::sd_bus_message_set_auto_start(message.get(), 1) < 0 ||
      ::sd_bus_call_async(bus_->get(), &slot, message.get(), callAnswered, call.get(), noLimit) < 0) {
    return false;
  }
  call->slot.reset(slot);
  call->limit = loop_.after(callLimit_, [this, number = call->number] {
    const auto late = std::move(calls_.extract(number).mapped());
    report(std::move(late->completion), std::nullopt);
  });
  const std::uint64_t number = call->number;
  calls_.emplace(number, std::move(call));
  return true;
}

int WorkspaceLinux::callAnswered(sd_bus_message* answer, void* userData, sd_bus_error*) noexcept {
  WorkspaceLinux& self = static_cast<Call*>(userData)->workspace;
  const auto call = std::move(self.calls_.extract(static_cast<Call*>(userData)->number).mapped());
  const sd_bus_error* error = ::sd_bus_message_get_error(answer);
  if (error == nullptr) {
    self.report(std::move(call->completion), std::nullopt);
  } else if (applicationCalls::sayNobodyDidIt(*error)) {
    self.startBundle(call->bundle, call->arguments, call->environment, std::move(call->completion));
  } else {
    const std::string reason = error->message == nullptr ? error->name : error->message;
    self.report(std::move(call->completion), OpenError{call->bundle.path.string() + ": " + reason});
  }
  return 0;
}

void WorkspaceLinux::startBundle(const ApplicationBundle& bundle, const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& environment, OpenCompletion completion) {
  std::vector<std::string> command{bundle.executable.string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const pid_t process = start(command, userDirectories::home(), environment, std::move(completion));
  if (process > 0) systemdUser::moveToOwnScope(process, bundle.identifier);
}

pid_t WorkspaceLinux::start(const std::vector<std::string>& command, const std::filesystem::path& directory,
                            const std::vector<std::string>& environment, OpenCompletion completion) {
  const std::uint64_t number = nextChild_++;
  try {
    auto process = std::make_unique<ChildProcess>(
        loop_, command, directory, environment,
        [this, number, program = command.front()](const std::optional<siginfo_t>& ending) {
          childEnded(number, program, ending);
        });
    const pid_t id = process->id();
    if (!process->isWatched()) {
      report(std::move(completion), std::nullopt);
      return id;
    }
    Child& child = children_.emplace(number, Child{std::move(process), {}, std::move(completion)}).first->second;
    child.startUp = loop_.after(startUpTime_, [this, number] {
      report(std::exchange(children_.at(number).completion, nullptr), std::nullopt);
    });
    return id;
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

void WorkspaceLinux::childEnded(std::uint64_t number, const std::string& program,
                                const std::optional<siginfo_t>& ending) {
  const Child child = std::move(children_.extract(number).mapped());
  // Unknown only when whoever started us made the system reap our children; that is no reason to speak of a failure.
  report(child.completion, ending ? errorFrom(program, *ending) : std::nullopt);
  queue_.programEnded();
}

void WorkspaceLinux::report(OpenCompletion completion, std::optional<OpenError> error) {
  if (!completion) return;
  loop_.post([completion = std::move(completion), error = std::move(error)] { completion(error); });
}

}  // namespace corvana
