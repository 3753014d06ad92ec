#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/desktop/application_handlers.h"
#include "platform/desktop/application_registration.h"
#include "platform/desktop/login_items.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/scheduler.h"

namespace CLI {
class App;
}

/// The subcommands of `corvana`: each function adds one to the command line, with its options and what it does. A
/// failure is an exception whose text is for the user.
namespace corvana::commands {

/// What commands ask of the system. Main makes it; it must outlive the command line.
struct System {
  Workspace& workspace;
  ApplicationHandlers& handlers;
  ApplicationRegistration& registration;
  LoginItems& loginItems;
  const Clock& clock;
  Scheduler& mainQueue;
  /// Serves the main queue until the condition holds.
  std::function<void(const std::function<bool()>&)> runUntil;
  /// Has the helper open links in an application's name, or in nobody's when that is empty. False when it does not run
  /// and cannot be started.
  std::function<bool(const std::vector<std::string>& urls, const std::string& source)> handToHelper;
};

void addMakeApp(CLI::App& app, const System& system);
void addRemoveApp(CLI::App& app, const System& system);
void addApps(CLI::App& app, const System& system);
void addProfiles(CLI::App& app);
void addBrowsers(CLI::App& app, const System& system);
void addDefaultBrowser(CLI::App& app, const System& system);
void addOpen(CLI::App& app, const System& system);
void addDoctor(CLI::App& app, const System& system);
void addHelper(CLI::App& app, const System& system);
void addRoute(CLI::App& app, const System& system);
void addRules(CLI::App& app);
void addHistory(CLI::App& app);
void addSettings(CLI::App& app);
void addIPC(CLI::App& app);

}  // namespace corvana::commands
