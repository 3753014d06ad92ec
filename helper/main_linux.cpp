// The background helper's executable on Linux: composes it with the system's adapters and serves it.
// Usage: CorvanaHelper [URL or file...]   with a helper running already, hands it the links and ends at once
//        CorvanaHelper --told-by-bus      the session bus has started it, and tells it what for

#include <malloc.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "core/browsers/chrome_profiles.h"
#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "core/identity/rename_migration.h"
#include "core/ipc/single_instance_lock.h"
#include "helper/helper.h"
#include "platform/application/application_linux.h"
#include "platform/desktop/chrome_user_data.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/user_defaults_linux.h"
#include "platform/log/system_log_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "platform/loop/session_bus_linux.h"
#include "platform/windows/browser_windows_linux.h"

namespace {

using namespace corvana;

int run(Opening opening) {
  const std::string identifier(Corvana::helperBundleID);
  Corvana::ensureSupportDirectory();
  // Before anything else is touched: of several that are started at once one goes on.
  SingleInstanceLock lock;
  const bool isOnlyHelper = lock.acquire(Corvana::lockURL());

  EventLoop loop;
  LaunchContext context(identifier);
  SessionBus bus(loop);
  ApplicationLinux application(loop, bus, context, identifier, [](const std::function<void()>& done) { done(); });
  if (!isOnlyHelper) {
    if (!application.handOver(opening)) Log::helper.notice("another helper holds the lock");
    return 0;
  }
  if (application.handOver(opening)) return 0;

  WorkspaceLinux workspace(loop, context);
  workspace.onNotice([](const std::string& text) { Log::helper.notice(text); });
  UserDefaultsLinux defaults(identifier);
  (void)RenameMigration::runIfNeeded(workspace, defaults);

  BrowserWindowsLinux windows(loop, bus.get(), context, std::string(Corvana::chromeBundleID));
  ReadQueueLinux readQueue("app.corvana.ipc");
  Helper helper({.mainQueue = loop, .clock = loop, .readQueue = readQueue, .windows = windows},
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
    Opening opening;
    for (int i = 1; i < argumentCount; ++i) {
      if (std::string_view(arguments[i]) == "--told-by-bus") {
        opening.isToldByBus = true;
      } else {
        opening.urls.emplace_back(arguments[i]);
      }
    }
    return run(std::move(opening));
  } catch (const std::exception& error) {
    Log::helper.error("cannot run: ", error.what());
    return 1;
  }
}
