#pragma once

#include "platform/desktop/application_registration.h"

namespace corvana {

/// A desktop entry for each bundle ("Desktop Entry Specification" 1.5), and a file by which the session bus starts it
/// ("D-Bus Specification", Message Bus Starting Services). The entry names no types that the application would open,
/// but for the browser's: by that alone it could become the default one.
class ApplicationRegistrationLinux final : public ApplicationRegistration {
 public:
  void add(const std::filesystem::path& bundle, const std::string& description,
           const std::vector<MenuItem>& menu) override;
  /// Its program is called with "--forward" and the links, and must then hand them over and end: xdg-open waits for it
  /// where it knows of no desktop.
  void addBrowser(const std::filesystem::path& bundle, const std::string& description) override;
  void remove(std::string_view bundleIdentifier) override;
};

}  // namespace corvana
