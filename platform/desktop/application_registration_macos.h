#pragma once

#include "platform/desktop/application_registration.h"

namespace corvana {

/// Launch Services' database of applications, from which the Dock, the Finder and Spotlight learn of a bundle. The Dock
/// asks a running application for its menu, so that none is registered.
class ApplicationRegistrationMacOS final : public ApplicationRegistration {
 public:
  void add(const std::filesystem::path& bundle, const std::string& description,
           const std::vector<MenuItem>& menu) override;

  /// Does nothing: there is no documented call for it, and Launch Services passes over bundles that are gone.
  /// Its Info.plist says what it opens, and that it is not offered.
  void addBrowser(const std::filesystem::path& bundle, const std::string& description) override;
  void remove(std::string_view bundleIdentifier) override;
};

}  // namespace corvana
