#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/identity/json_coding.h"
#include "core/identity/settings_store.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

/// The settings with one changed, as "KEY=VALUE" says.
AppSettings changed(const AppSettings& settings, const std::string& change) {
  nlohmann::json document = parseJSON(settings.documentText());
  const std::size_t separator = change.find('=');
  const std::string key = change.substr(0, separator);
  if (separator == std::string::npos || key == "version" || !document.contains(key)) {
    throw std::runtime_error("\"" + change +
                             "\": expected KEY=true or KEY=false, with one of the keys that are listed");
  }
  document[key] = parseJSON(change.substr(separator + 1));
  return AppSettings::parse(document.dump());
}

void run(const std::vector<std::string>& changes, bool asJSON) {
  SettingsStore store;
  const auto apply = [&store, &changes](AppSettings& settings) {
    if (store.problem()) {
      throw std::runtime_error("settings.json is broken (" + *store.problem() + "); mend or delete it first");
    }
    for (const std::string& change : changes) settings = changed(settings, change);
  };
  if (!changes.empty()) store.change(apply);
  const nlohmann::json document = parseJSON(store.settings.documentText());
  if (asJSON) return print(document);
  Table table{.headings = {"SETTING", "VALUE"}, .rows = {}};
  for (const auto& [key, value] : document.items()) {
    if (key != "version") table.rows.push_back({key, value.dump()});
  }
  print(table, "");
}

}  // namespace

void addSettings(CLI::App& app) {
  struct Options {
    std::vector<std::string> changes;
    bool asJSON = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("settings", "Show the settings, or change them");
  command->add_option("change", options->changes, "KEY=true or KEY=false");
  command->add_flag("--json", options->asJSON, "Print JSON");
  command->callback([options] { run(options->changes, options->asJSON); });
}

}  // namespace corvana::commands
