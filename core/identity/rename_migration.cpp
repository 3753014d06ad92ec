#include "core/identity/rename_migration.h"

#include <array>
#include <string>

#include "core/identity/corvana.h"
#include "core/identity/document_file.h"
#include "core/identity/document_lock.h"
#include "core/identity/helper_installer.h"
#include "core/identity/json_coding.h"
#include "core/identity/log.h"
#include "platform/files/files.h"
#include "platform/process/tools.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

constexpr const char* marker = "CorvanaRenameMigrationCompleted";
constexpr std::array<std::string_view, 4> fileNames{"registry.json", "rules.json", "recent-links.json",
                                                    "settings.json"};

/// An existing file is never overwritten.
void migrate(const fs::path& oldFile, const fs::path& newFile) {
  if (!files::exists(oldFile)) return;
  const std::string name = oldFile.filename().string();
  try {
    const DocumentLock lock(newFile);  // nor is one that appears meanwhile
    if (files::exists(newFile)) return;
    files::replace(newFile, files::read(oldFile, DocumentFile::maximumBytes));
    Log::creator.notice("migrated ", name, " from ", oldFile.parent_path().string());
  } catch (const std::exception& error) {
    Log::creator.error("could not migrate ", name, ": ", error.what());
  }
}

/// Macs keep what the user has allowed the earlier helper; there it would lie about for good. Other systems have
/// nothing of the kind, and no such tool.
void resetPrivacyGrants(const std::string& bundleID) {
  for (const char* service : {"Accessibility", "AppleEvents"}) {
    try {
      (void)HelperInstaller::run("/usr/bin/tccutil", {"reset", service, bundleID});
    } catch (const ToolError&) {
      // Nothing depends on it.
    }
  }
}

std::int64_t registryEntriesIn(const fs::path& file) {
  try {
    const nlohmann::json document = parseJSON(files::read(file, DocumentFile::maximumBytes));
    const auto apps = document.is_object() ? document.find("apps") : document.end();
    return apps != document.end() && apps->is_array() ? static_cast<std::int64_t>(apps->size()) : 0;
  } catch (const std::exception&) {
    return 0;
  }
}

std::optional<fs::path> oldCreator(const PreviousIdentity& identity, Workspace& workspace) {
  if (auto known = workspace.urlForApplication(identity.creatorBundleID)) return known;
  const fs::path usual = fs::path("/Applications") / identity.creatorAppName;
  return files::exists(usual) ? std::optional(usual) : std::nullopt;
}

}  // namespace

RenameMigration::Outcome RenameMigration::runIfNeeded(Workspace& workspace, UserDefaults& defaults) {
  if (defaults.boolFor(marker)) return currentState(workspace);
  if (const auto identity = Corvana::identityToMigrateFrom()) {
    for (const RunningApplication& helper : workspace.runningApplications(identity->helperBundleID())) {
      workspace.terminate(helper);
    }
    try {
      Corvana::ensureSupportDirectory();
    } catch (const std::exception& error) {
      Log::creator.error("could not migrate anything: ", error.what());  // each file below will say so, too
    }
    for (const std::string_view name : fileNames) {
      migrate(identity->supportDirectory() / name, Corvana::supportDirectory() / name);
    }
    resetPrivacyGrants(identity->helperBundleID());
  }
  try {
    defaults.set(marker, true);
  } catch (const std::exception& error) {
    Log::creator.error("could not remember the migration: ", error.what());
  }
  return currentState(workspace);
}

RenameMigration::Outcome RenameMigration::currentState(Workspace& workspace) {
  const auto identity = Corvana::identityToMigrateFrom();
  if (!identity) return {};
  return {.registryEntries = registryEntriesIn(identity->supportDirectory() / fileNames[0]),
          .oldCreatorPath = oldCreator(*identity, workspace),
          .hasOldSupportDirectory = files::exists(identity->supportDirectory())};
}

void RenameMigration::removeLeftovers(const std::optional<fs::path>& oldCreator, Trash& trash) {
  if (oldCreator && files::exists(*oldCreator)) trash.move(*oldCreator);
  const auto identity = Corvana::identityToMigrateFrom();
  if (identity && files::exists(identity->supportDirectory())) trash.move(identity->supportDirectory());
}

}  // namespace corvana
