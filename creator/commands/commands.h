#pragma once

namespace CLI {
class App;
}

/// The subcommands of `corvana`: each function adds one to the command line, with its options and what it does. A
/// failure is an exception whose text is for the user.
namespace corvana::commands {

void addMakeApp(CLI::App& app);
void addApps(CLI::App& app);
void addProfiles(CLI::App& app);
void addBrowsers(CLI::App& app);
void addRoute(CLI::App& app);
void addRules(CLI::App& app);
void addHistory(CLI::App& app);
void addSettings(CLI::App& app);
void addIPC(CLI::App& app);

}  // namespace corvana::commands
