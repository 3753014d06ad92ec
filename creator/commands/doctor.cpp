#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/browsers/browser_catalog.h"
#include "core/browsers/chrome_profiles.h"
#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/identity/helper_installer.h"
#include "core/identity/login_item.h"
#include "core/identity/rename_migration.h"
#include "core/identity/settings_store.h"
#include "core/registry/registry.h"
#include "core/routing/rule_check.h"
#include "core/routing/rule_store.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "creator/ipc_client.h"
#include "creator/models/check_up.h"
#include "platform/desktop/chrome_user_data.h"
#include "platform/desktop/running_bundle.h"

namespace corvana::commands {
namespace {

CheckUpFacts factsOf(const System& system) {
  CheckUpFacts facts;
  if (const auto chrome = system.workspace.urlForApplication(Corvana::chromeBundleID)) {
    const auto info = system.handlers.info(*chrome);
    facts.chromeName = info ? info->name : chrome->stem().string();
  }
  facts.profileCount = ChromeProfiles::load(ChromeProfiles::localStateURL(chromeUserDataDirectory())).size();

  facts.ownVersion = HelperInstaller::version(runningBundlePath()).value_or("unknown");
  facts.helperVersion = HelperInstaller::installedVersion();
  const SettingsStore settings;
  facts.isHelperSwitchedOff = settings.settings.disablesHelper;
  if (const auto answer = IPCClient::ask({.id = 1, .op = Request::Op::status, .deep = true})) {
    facts.helper = CheckUpFacts::HelperAnswer{.chromeProcess = answer->chromePID,
                                              .windowCount = answer->windowCount.value_or(0),
                                              .isCertain = answer->confidence == CountConfidence::certain,
                                              .problem = answer->error.value_or("")};
  }
  facts.startsAtLogin = LoginItem::isEnabled(system.loginItems);
  facts.loginNeedsApproval = LoginItem::needsApproval(system.loginItems);

  facts.isDefaultBrowser = BrowserCatalog::isDefaultBrowser(system.handlers);
  if (const auto browser = system.handlers.defaultApplication({Handled::Kind::scheme, "https"})) {
    const auto info = system.handlers.info(*browser);
    facts.defaultBrowserName = info ? info->name : browser->stem().string();
  }
  RuleStore rules;
  facts.hasRules = rules.set().enabledRuleCount() > 0;
  CheckUpFacts::Document document{.name = "rules.json", .problem = rules.problem().value_or(""), .warnings = {}};
  for (const RuleWarning& warning : checkRules(rules.set())) {
    document.warnings.push_back("rule " + std::to_string(warning.rule + 1) + " " + warning.text);
  }
  facts.documents.push_back(std::move(document));
  facts.documents.push_back({.name = "settings.json", .problem = settings.problem().value_or(""), .warnings = {}});

  for (const RegisteredApp& app : Registry::load().apps) {
    facts.apps.push_back({.name = app.name, .isMissing = !app.isInPlace(), .rebuildReasons = app.rebuildReasons()});
  }
  const std::filesystem::path support = Corvana::supportDirectory();
  try {
    Corvana::ensureSupportDirectory();
    if (::access(support.c_str(), W_OK | X_OK) != 0)
      facts.supportFolderProblem = support.string() + " cannot be written to";
  } catch (const std::filesystem::filesystem_error& error) {
    facts.supportFolderProblem = error.what();
  }
  const auto leftovers = RenameMigration::currentState(system.workspace);
  if (const auto identity = Corvana::identityToMigrateFrom(); identity && leftovers.hasLeftovers()) {
    facts.leftovers = std::string(identity->supportDirectoryName) + " is still here";
  }
  return facts;
}

void run(bool asJSON, const System& system) {
  const std::vector<CheckUpLine> lines = checkUp(factsOf(system));
  if (asJSON) {
    nlohmann::json document = nlohmann::json::array();
    for (const CheckUpLine& line : lines) {
      document.push_back(
          {{"subject", line.subject}, {"state", nameOf(line.state)}, {"text", line.text}, {"remedy", line.remedy}});
    }
    print(document);
  } else {
    for (const CheckUpLine& line : lines) {
      std::printf("%-8s %s\n", std::string(nameOf(line.state)).c_str(), shown(line.text).c_str());
      if (!line.remedy.empty()) std::printf("         %s\n", shown(line.remedy).c_str());
    }
  }
  const bool hasProblem =
      std::ranges::any_of(lines, [](const CheckUpLine& line) { return line.state == CheckUpLine::State::problem; });
  if (hasProblem) throw CLI::RuntimeError(1);
}

}  // namespace

void addDoctor(CLI::App& app, const System& system) {
  const auto asJSON = std::make_shared<bool>(false);
  CLI::App* command = app.add_subcommand("doctor", "Say what is well and what is not, and what to do about it");
  command->footer("The exit status is 1 when something keeps Corvana from doing its work.");
  command->add_flag("--json", *asJSON, "Print JSON");
  command->callback([asJSON, &system] { run(*asJSON, system); });
}

}  // namespace corvana::commands
