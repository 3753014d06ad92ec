#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "core/browsers/browser_catalog.h"
#include "core/identity/corvana.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

void show(const System& system) {
  const auto present = system.handlers.defaultApplication({Handled::Kind::scheme, "https"});
  const auto info = present ? system.handlers.info(*present) : std::nullopt;
  if (BrowserCatalog::isDefaultBrowser(system.handlers)) {
    std::puts("Corvana is the default browser.");
  } else {
    std::printf("Corvana is not the default browser; %s is.\n", info ? shown(info->name).c_str() : "none");
  }
}

void request(bool isDefault, const System& system) {
  RuleStore rules;
  // The desktop must be able to start the helper before any link is sent to it.
  std::error_code ignored;
  if (isDefault && std::filesystem::exists(Corvana::installedHelperURL(), ignored)) {
    system.registration.addBrowser(Corvana::installedHelperURL(), "Sends links where your rules say");
  }
  std::optional<std::optional<std::string>> answer;
  BrowserCatalog::requestDefaultBrowser(isDefault, system.workspace, system.handlers, rules,
                                        [&answer](const std::optional<std::string>& error) { answer = error; });
  system.runUntil([&answer] { return answer.has_value(); });
  if (*answer) throw std::runtime_error("the default browser could not be changed: " + **answer);
}

}  // namespace

void addDefaultBrowser(CLI::App& app, const System& system) {
  const auto state = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("default-browser", "Show or change whether the desktop's links come to Corvana");
  command->add_option("state", *state, "on or off")->check(CLI::IsMember({"on", "off"}));
  command->callback([state, &system] {
    if (!state->empty()) request(*state == "on", system);
    show(system);
  });
}

}  // namespace corvana::commands
