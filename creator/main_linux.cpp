// corvana: the main application's command line on Linux.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <sstream>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "platform/application/application_linux.h"
#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/application_registration_linux.h"
#include "platform/desktop/login_items_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/log/system_log_linux.h"
#include "platform/loop/event_loop_linux.h"

namespace {

/// What CLI11 has to say repeats the arguments, which may be links.
int run(CLI::App& app, int argumentCount, char** arguments) {
  try {
    app.parse(argumentCount, arguments);
    return 0;
  } catch (const CLI::ParseError& error) {
    std::ostringstream output;
    std::ostringstream problem;
    const int status = app.exit(error, output, problem);
    std::fputs(corvana::commands::shownLines(output.str()).c_str(), stdout);
    std::fputs(corvana::commands::shownLines(problem.str()).c_str(), stderr);
    return status;
  }
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  using namespace corvana;
  SystemLog log;
  Log::setSink(&log);
  EventLoop loop;
  LaunchContext context{std::string(Corvana::creatorBundleID)};
  WorkspaceLinux workspace(loop, context);
  ApplicationHandlersGIO handlers(loop);
  ApplicationRegistrationLinux registration;
  LoginItemsLinux loginItems(Corvana::installedHelperURL());
  const auto handToHelper = [&](const std::vector<std::string>& urls, const std::string& source) {
    const SessionBus bus(loop);
    return ApplicationLinux::handOverTo(bus, context, Corvana::helperBundleID,
                                        {.urls = urls, .action = {}, .source = source});
  };
  const commands::System system{.workspace = workspace,
                                .handlers = handlers,
                                .registration = registration,
                                .loginItems = loginItems,
                                .clock = loop,
                                .mainQueue = loop,
                                .runUntil = [&loop](const std::function<bool()>& holds) { loop.runUntil(holds); },
                                .handToHelper = handToHelper};
  CLI::App app("Corvana gives each Chrome profile or tab group an application of its own", "corvana");
  app.require_subcommand(1);
  commands::addMakeApp(app, system);
  commands::addRemoveApp(app, system);
  commands::addApps(app, system);
  commands::addProfiles(app);
  commands::addBrowsers(app, system);
  commands::addDefaultBrowser(app, system);
  commands::addOpen(app, system);
  commands::addDoctor(app, system);
  commands::addHelper(app, system);
  commands::addRoute(app, system);
  commands::addRules(app);
  commands::addHistory(app);
  commands::addSettings(app);
  commands::addIPC(app);
  const int status = run(app, argumentCount, arguments);
  commands::finishOutput();
  return status;
} catch (const std::exception& error) {
  std::fprintf(stderr, "corvana: %s\n", corvana::commands::shownLines(error.what()).c_str());
  return 1;
}
