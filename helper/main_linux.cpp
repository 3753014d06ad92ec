// The background helper's executable on Linux: composes it with the system's adapters and serves it.
// Usage: CorvanaHelper [URL or file...]            with a helper running already, hands it the links and ends
//        CorvanaHelper --forward URL or file...    the same, and ends at once also when the helper has to be started
//        CorvanaHelper --told-by-bus               the session bus has started it, and tells it what for

#include <malloc.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/browsers/chrome_profiles.h"
#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "core/identity/rename_migration.h"
#include "core/identity/url.h"
#include "core/ipc/single_instance_lock.h"
#include "helper/helper.h"
#include "platform/application/application_linux.h"
#include "platform/application/user_notifications_dbus.h"
#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/chrome_user_data.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/user_defaults_linux.h"
#include "platform/files/user_directories.h"
#include "platform/log/system_log_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "platform/loop/session_bus_linux.h"
#include "platform/process/detached_process_linux.h"
#include "platform/windows/browser_windows_linux.h"
#include "platform/windows/window_identities_x11.h"

namespace {

using namespace corvana;

struct CommandLine {
  Opening opening;
  bool forwards = false;
};

CommandLine commandLineFrom(int argumentCount, char** arguments) {
  CommandLine result;
  for (int i = 1; i < argumentCount; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--told-by-bus") {
      result.opening.isToldByBus = true;
    } else if (argument == "--forward") {
      result.forwards = true;
    } else if (const auto url = URL::ofArgument(arguments[i])) {
      result.opening.urls.push_back(url->absoluteString());
    } else {
      Log::helper.error("neither a URL with a scheme nor an existing file: ", argument);
    }
  }
  return result;
}

int run(CommandLine commandLine) {
  const std::string identifier(Corvana::helperBundleID);
  Opening& opening = commandLine.opening;
  EventLoop loop;
  LaunchContext context(identifier);
  SessionBus bus(loop);
  if (commandLine.forwards) {
    if (ApplicationLinux::handOverTo(bus, context, identifier, opening)) return 0;
    // Whoever waits for this program does not wait for the helper.
    std::vector<std::string> command{std::filesystem::read_symlink("/proc/self/exe")};
    command.insert(command.end(), opening.urls.begin(), opening.urls.end());
    (void)startDetached(command, userDirectories::home());
    return 0;
  }

  Corvana::ensureSupportDirectory();
  // Before anything else is touched: of several that are started at once one goes on, and the others tell it what for.
  SingleInstanceLock lock;
  if (!lock.acquire(Corvana::lockURL())) {
    opening.isToldByBus = false;
    if (opening.urls.empty() || ApplicationLinux::handOverTo(bus, context, identifier, opening)) return 0;
    throw std::runtime_error("another helper runs that cannot be reached over the session bus");
  }
  ApplicationLinux application(loop, bus, context, identifier, [](const std::function<void()>& done) { done(); });
  if (application.handOver(opening)) return 0;

  WorkspaceLinux workspace(loop, context, std::chrono::seconds(1), &bus);
  workspace.onNotice([](const std::string& text) { Log::helper.notice(text); });
  UserDefaultsLinux defaults(identifier);
  (void)RenameMigration::runIfNeeded(workspace, defaults);
  ApplicationHandlersGIO handlers(loop);
  UserNotificationsDBus notifications(bus, context, identifier, "Corvana");
  BrowserWindowsLinux windows(loop, bus.get(), context, std::string(Corvana::chromeBundleID));
  WindowIdentitiesX11 identities;
  ReadQueueLinux readQueue("app.corvana.ipc");
  Helper helper({.mainQueue = loop,
                 .clock = loop,
                 .readQueue = readQueue,
                 .windows = windows,
                 .identities = identities,
                 .workspace = workspace,
                 .handlers = handlers,
                 .notifications = notifications,
                 .application = application},
                ChromeProfiles::localStateURL(chromeUserDataDirectory()));
  // What the start needed is given back to the system: this program stays all day.
  const Timer afterStart = loop.after(std::chrono::seconds(1), [] { (void)::malloc_trim(0); });
  // Whoever has started it, it stays; what the bus has to tell comes as to one that runs.
  opening.isToldByBus = false;
  return application.run(helper, opening);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  // Whoever started us may have had children reaped automatically, and ours are waited for.
  (void)std::signal(SIGCHLD, SIG_DFL);
  (void)std::signal(SIGPIPE, SIG_IGN);  // an X server or a client that ends is no reason to end
  (void)::mallopt(M_ARENA_MAX, 1);      // the second thread allocates too little to have memory of its own for that
  SystemLog log;
  Log::setSink(&log);
  try {
    return run(commandLineFrom(argumentCount, arguments));
  } catch (const std::exception& error) {
    Log::helper.error("cannot run: ", error.what());
    return 1;
  }
}
