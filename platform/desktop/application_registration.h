#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/menu_item.h"

namespace corvana {

/// What makes an application bundle known to the desktop, so that its docks and launchers offer it. Main thread.
class ApplicationRegistration {
 public:
  virtual ~ApplicationRegistration() = default;

  /// Registers the bundle, with a description for the user and the entries of its menu for launchers that offer some;
  /// replaces what was registered under its identifier before. Throws std::exception's descendants when that fails.
  virtual void add(const std::filesystem::path& bundle, const std::string& description,
                   const std::vector<MenuItem>& menu) = 0;

  /// Registers a bundle that opens links for others: it can be made the default browser, and the handler of the files
  /// that browsers open, but is not offered to be started. What is the default stays that. Does little when all is as
  /// it should be. Throws as above.
  virtual void addBrowser(const std::filesystem::path& bundle, const std::string& description) = 0;

  /// Forgets the application. Does nothing when it is not registered. Throws std::filesystem::filesystem_error.
  virtual void remove(std::string_view bundleIdentifier) = 0;
};

}  // namespace corvana
