#include "helper/app_directory.h"

#include "core/identity/corvana.h"
#include "core/registry/registry.h"

namespace corvana {

std::optional<std::string> AppDirectory::profileOf(std::string_view bundleID) {
  if (const auto date = files::modificationDate(Corvana::registryURL()); date != date_) {
    date_ = date;
    profiles_.clear();
    for (const RegisteredApp& app : Registry::load().apps) profiles_.emplace(app.bundleID, app.config.profileDirectory);
  }
  const auto found = profiles_.find(bundleID);
  return found == profiles_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace corvana
