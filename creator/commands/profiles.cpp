#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "core/browsers/chrome_profiles.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "platform/desktop/chrome_user_data.h"

namespace corvana::commands {
namespace {

void list(bool asJSON) {
  const auto file = ChromeProfiles::localStateURL(chromeUserDataDirectory());
  Table table{.headings = {"NAME", "FOLDER", "ACCOUNT"}, .rows = {}};
  nlohmann::json profiles = nlohmann::json::array();
  for (const ChromeProfile& profile : ChromeProfiles::load(file)) {
    table.rows.push_back({profile.name, profile.directory, profile.userName});
    nlohmann::json entry = {{"directory", profile.directory},
                            {"name", profile.name},
                            {"userName", profile.userName},
                            {"gaiaName", profile.gaiaName},
                            {"gaiaGivenName", profile.gaiaGivenName}};
    if (profile.highlightColor) entry["highlightColor"] = *profile.highlightColor;
    profiles.push_back(std::move(entry));
  }
  if (asJSON) {
    print(profiles);
  } else {
    print(table, "Chrome has no profiles in " + shown(file.string()));
  }
}

}  // namespace

void addProfiles(CLI::App& app) {
  const auto asJSON = std::make_shared<bool>(false);
  CLI::App* command = app.add_subcommand("profiles", "List Chrome's profiles");
  command->add_flag("--json", *asJSON, "Print JSON");
  command->callback([asJSON] { list(*asJSON); });
}

}  // namespace corvana::commands
