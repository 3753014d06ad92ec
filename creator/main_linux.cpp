// corvana: the main application's command line on Linux.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "creator/commands/commands.h"
#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/application_registration_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/log/system_log_linux.h"
#include "platform/loop/event_loop_linux.h"

int main(int argumentCount, char** arguments) try {
  using namespace corvana;
  SystemLog log;
  Log::setSink(&log);
  EventLoop loop;
  LaunchContext context{std::string(Corvana::creatorBundleID)};
  WorkspaceLinux workspace(loop, context);
  ApplicationHandlersGIO handlers(loop);
  ApplicationRegistrationLinux registration;
  const commands::System system{
      .workspace = workspace, .handlers = handlers, .registration = registration, .clock = loop};
  CLI::App app("Corvana gives each Chrome profile or tab group an application of its own", "corvana");
  app.require_subcommand(1);
  commands::addMakeApp(app, system);
  commands::addApps(app, system);
  commands::addProfiles(app);
  commands::addBrowsers(app, system);
  commands::addRoute(app);
  commands::addRules(app);
  commands::addHistory(app);
  commands::addSettings(app);
  commands::addIPC(app);
  CLI11_PARSE(app, argumentCount, arguments);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "corvana: %s\n", error.what());
  return 1;
}
