#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/files/user_defaults.h"

namespace corvana {

/// A key file in the configuration directory (GSettings would need a schema that is compiled when a program is
/// installed).
class UserDefaultsLinux final : public UserDefaults {
 public:
  /// The defaults of the program with this bundle identifier.
  explicit UserDefaultsLinux(std::string_view bundleIdentifier);

  bool boolFor(std::string_view key) override;
  void set(std::string_view key, bool value) override;

 private:
  std::filesystem::path file_;
};

}  // namespace corvana
