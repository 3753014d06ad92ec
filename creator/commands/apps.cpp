#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "core/identity/json_coding.h"
#include "core/identity/log.h"
#include "core/registry/registry.h"
#include "creator/commands/commands.h"
#include "creator/commands/desktop.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

std::string statusOf(const RegisteredApp& app) {
  if (app.isMissing || !app.existsOnDisk()) return "missing";
  std::string reasons;
  for (const std::string& reason : app.rebuildReasons()) reasons.append(reasons.empty() ? "" : " ").append(reason);
  return reasons.empty() ? "up to date" : "rebuild: " + reasons;
}

/// The desktop may still look for it where it was. One that it cannot take does not keep the others from the list.
void registerWhereItIs(const RegisteredApp& app, const System& system) {
  if (!app.existsOnDisk() || system.workspace.urlForApplication(app.bundleID) == app.path) return;
  try {
    registerWithDesktop(app, system);
  } catch (const std::exception& error) {
    Log::creator.error("not offered by the desktop: ", error.what());
  }
}

void list(bool rescans, bool asJSON, const System& system) {
  Registry registry = Registry::load();
  if (rescans) {
    registry.rescan(system.workspace, system.clock);
    registry.save();
    for (const RegisteredApp& app : registry.apps) registerWhereItIs(app, system);
  }
  Table table{.headings = {"NAME", "IDENTIFIER", "PROFILE", "PATH", "STATUS"}, .rows = {}};
  nlohmann::json apps = nlohmann::json::array();
  for (const RegisteredApp& app : registry.apps) {
    const std::string group = app.config.isTabGroup() ? " / " + *app.config.tabGroupName : "";
    table.rows.push_back({app.name, app.bundleID, app.config.profileName + group, app.path, statusOf(app)});
    nlohmann::json entry = {{"bundleID", app.bundleID},
                            {"name", app.name},
                            {"path", app.path},
                            {"config", encode(app.config)},
                            {"createdAt", encode(app.createdAt)},
                            {"isMissing", app.isMissing || !app.existsOnDisk()},
                            {"rebuildReasons", app.rebuildReasons()}};
    if (app.stubRevision) entry["stubRevision"] = *app.stubRevision;
    apps.push_back(std::move(entry));
  }
  if (asJSON) {
    print(apps);
  } else {
    print(table, "No proxy apps are registered; --rescan looks for them.");
  }
}

}  // namespace

void addApps(CLI::App& app, const System& system) {
  struct Options {
    bool rescans = false;
    bool asJSON = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("apps", "List the proxy apps that were built");
  command->add_flag("--rescan", options->rescans, "Look for them first, and remember what was found");
  command->add_flag("--json", options->asJSON, "Print JSON");
  command->callback([options, &system] { list(options->rescans, options->asJSON, system); });
}

}  // namespace corvana::commands
