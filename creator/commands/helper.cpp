#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/browsers/browser_catalog.h"
#include "core/identity/corvana.h"
#include "core/identity/helper_installer.h"
#include "core/identity/login_item.h"
#include "core/ipc/messages.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "creator/ipc_client.h"
#include "platform/process/tools.h"

namespace corvana::commands {
namespace {

/// What a start may take.
constexpr std::chrono::seconds startLimit{10};
constexpr std::chrono::milliseconds lookPeriod{50};

std::optional<Response> status() {
  return IPCClient::ask({.id = 1, .op = Request::Op::status, .deep = true});
}

void showStatus(bool asJSON) {
  const auto version = HelperInstaller::installedVersion();
  const auto answer = status();
  if (asJSON) {
    nlohmann::json document = {{"isInstalled", version.has_value()}, {"isRunning", answer.has_value()}};
    if (version) document["version"] = *version;
    if (answer && answer->chromePID) document["chromePID"] = *answer->chromePID;
    if (answer && answer->windowCount) document["windowCount"] = *answer->windowCount;
    if (answer && answer->error) document["problem"] = *answer->error;
    print(document);
  } else if (!answer) {
    std::printf("The helper %s.\n", version ? "does not run" : "is not installed");
  } else {
    std::printf("The helper runs, version %s.\n", version ? shown(*version).c_str() : "unknown");
    if (answer->chromePID) {
      std::printf("Chrome runs (process %d) with %lld windows.\n", *answer->chromePID,
                  static_cast<long long>(answer->windowCount.value_or(0)));
    } else {
      std::puts("Chrome does not run.");
    }
    if (answer->error) std::printf("%s\n", shown(*answer->error).c_str());
  }
  if (!answer) throw CLI::RuntimeError(1);
}

void start(bool atLogin, bool reinstalls, const System& system) {
  const std::filesystem::path helper = Corvana::installedHelperURL();
  try {
    (void)HelperInstaller::installFromCreatorBundle(system.workspace, reinstalls);
  } catch (const HelperInstaller::InstallError&) {
    if (!HelperInstaller::installedVersion()) throw;  // what is installed may do
  }
  system.registration.addBrowser(helper, "Sends links where your rules say");
  if (atLogin) LoginItem::setEnabled(system.loginItems, true);
  std::optional<OpenError> error;
  system.workspace.openApplication(
      helper, {.createsNewApplicationInstance = false, .activates = false, .addsToRecentItems = false},
      [&error](const std::optional<OpenError>& problem) { error = problem; });
  const auto deadline = system.clock.now() + startLimit;
  bool isRunning = false;
  const Timer look = system.mainQueue.every(lookPeriod, [&] { isRunning = status().has_value(); });
  system.runUntil([&] { return isRunning || error || system.clock.now() > deadline; });
  if (error) throw std::runtime_error("the helper could not be started: " + error->description);
  if (!isRunning)
    throw std::runtime_error("the helper was started, but does not answer; \"corvana helper log\" may say why");
  showStatus(false);
}

void stop(const System& system) {
  HelperInstaller::terminateRunningHelper(system.workspace);
  std::puts("The helper does not run any more. The next app or link starts it.");
}

void uninstall(const System& system) {
  if (BrowserCatalog::isDefaultBrowser(system.handlers)) {
    throw std::runtime_error("links come to the helper; give them back first, with \"corvana default-browser off\"");
  }
  LoginItem::setEnabled(system.loginItems, false);
  HelperInstaller::terminateRunningHelper(system.workspace);
  system.registration.remove(Corvana::helperBundleID);
  std::filesystem::remove_all(Corvana::installedHelperURL());
  std::puts("The helper is not installed any more.");
}

/// As the system's log has it.
void showLog() {
  struct Reader {
    const char* program;
    std::vector<std::string> arguments;
  };
  const Reader readers[] = {
      {"/usr/bin/journalctl", {"--no-pager", "--lines=200", "--identifier=app.corvana"}},
      {"/usr/bin/log", {"show", "--last", "1h", "--predicate", "subsystem == \"app.corvana\""}},
  };
  for (const Reader& reader : readers) {
    if (!std::filesystem::exists(reader.program)) continue;
    std::fputs(shownLines(runTool(reader.program, reader.arguments)).c_str(), stdout);
    return;
  }
  throw std::runtime_error(
      "this system keeps no log that could be shown; start the helper in a terminal to see what it says");
}

}  // namespace

void addHelper(CLI::App& app, const System& system) {
  struct Options {
    bool asJSON = false;
    bool atLogin = false;
    bool reinstalls = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("helper", "The background helper, which routes links and watches windows");
  command->require_subcommand(1);
  CLI::App* show = command->add_subcommand("status", "Whether it runs, and what it sees");
  show->add_flag("--json", options->asJSON, "Print JSON");
  show->callback([options] { showStatus(options->asJSON); });
  CLI::App* begin = command->add_subcommand("start", "Install it if need be, and start it");
  begin->add_flag("--at-login", options->atLogin, "And from now on whenever you log in");
  begin->add_flag("--reinstall", options->reinstalls, "Install it also when this version is installed already");
  begin->callback([options, &system] { start(options->atLogin, options->reinstalls, system); });
  command->add_subcommand("stop", "End it")->callback([&system] { stop(system); });
  command->add_subcommand("uninstall", "End it, and delete it with all that starts it")->callback([&system] {
    uninstall(system);
  });
  command->add_subcommand("log", "What it has said lately")->callback(showLog);
}

}  // namespace corvana::commands
