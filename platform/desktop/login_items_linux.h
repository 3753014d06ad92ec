#pragma once

#include <filesystem>

#include "platform/desktop/login_items.h"

namespace corvana {

/// Login items as entries of the user's autostart folder (freedesktop.org, "Desktop Application Autostart
/// Specification" 0.5) and, where the session runs under systemd, also as a user unit, which starts the program again
/// when it fails. Only the first of the two to come finds no instance running.
class LoginItemsLinux final : public LoginItems {
 public:
  /// `bundle` is the application that is to be started.
  explicit LoginItemsLinux(std::filesystem::path bundle) : bundle_(std::move(bundle)) {}

  Status status(std::string_view bundleIdentifier) override;
  void add(std::string_view bundleIdentifier) override;
  void remove(std::string_view bundleIdentifier) override;

 private:
  std::filesystem::path bundle_;
};

}  // namespace corvana
