#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "core/identity/json_coding.h"
#include "core/identity/log.h"
#include "core/registry/registry.h"
#include "creator/commands/commands.h"
#include "creator/commands/desktop.h"
#include "creator/commands/output.h"
#include "platform/files/files.h"

namespace corvana::commands {
namespace {

bool isMissing(const RegisteredApp& app) {
  return app.isMissing || !app.isInPlace();
}

std::string statusOf(const RegisteredApp& app) {
  if (isMissing(app)) return "missing";
  std::string reasons;
  for (const std::string& reason : app.rebuildReasons()) reasons.append(reasons.empty() ? "" : " ").append(reason);
  return reasons.empty() ? "up to date" : "rebuild: " + reasons;
}

/// Whether the app was deleted, or another one put in its place. Not so when the folder that held it is not there
/// either: then it may be on a disk that comes back. What the desktop knows of it harms nobody until then.
bool hasGone(const RegisteredApp& app) {
  return isMissing(app) && files::exists(std::filesystem::path(app.path).parent_path());
}

/// The desktop may still look for it where it was, and offer what has gone. One that it cannot take does not keep the
/// others from the list.
void bringDesktopInLine(const RegisteredApp& app, const System& system) {
  try {
    if (hasGone(app)) {
      system.registration.remove(app.bundleID);
    } else if (!isMissing(app) && system.workspace.urlForApplication(app.bundleID) != app.path) {
      registerWithDesktop(app, system);
    }
  } catch (const std::exception& error) {
    Log::creator.error("not offered by the desktop as it is: ", error.what());
  }
}

void list(bool rescans, bool asJSON, const System& system) {
  const auto rescan = [&system](Registry& registry) { registry.rescan(system.workspace, system.clock); };
  std::optional<std::string> problem;
  const Registry registry = rescans ? Registry::change(rescan) : Registry::load(&problem);
  if (problem) remark("registry.json could not be read: " + *problem);
  if (rescans) {
    for (const RegisteredApp& app : registry.apps) bringDesktopInLine(app, system);
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
                            {"isMissing", isMissing(app)},
                            {"rebuildReasons", isMissing(app) ? std::vector<std::string>() : app.rebuildReasons()}};
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
