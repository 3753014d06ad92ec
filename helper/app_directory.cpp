#include "helper/app_directory.h"

#include "core/identity/corvana.h"
#include "core/registry/registry.h"

namespace corvana {

std::optional<std::string> AppDirectory::profileOf(std::string_view bundleID) {
  reloadIfChanged();
  const auto found = profiles_.find(bundleID);
  return found == profiles_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> AppDirectory::appOf(std::string_view profileDirectory) {
  reloadIfChanged();
  const auto found = apps_.find(profileDirectory);
  return found == apps_.end() ? std::nullopt : std::optional(found->second);
}

void AppDirectory::reloadIfChanged() {
  const auto date = files::modificationDate(Corvana::registryURL());
  if (date == date_) return;
  date_ = date;
  profiles_.clear();
  apps_.clear();
  for (const RegisteredApp& app : Registry::load().apps) {
    profiles_.emplace(app.bundleID, app.config.profileDirectory);
    if (!app.config.isTabGroup() && !app.isMissing) apps_.emplace(app.config.profileDirectory, app.bundleID);
  }
}

}  // namespace corvana
