#pragma once

#include "platform/files/user_defaults.h"

namespace corvana {

/// The defaults of the running bundle's identifier; a program without one has those of its executable's name. What an
/// argument of the command line ("-key YES") or an administrator's profile says about a key comes first.
class UserDefaultsMacOS final : public UserDefaults {
 public:
  bool boolFor(std::string_view key) override;
  /// The system writes later and reports no failure, so that only a key that is not UTF-8 throws.
  void set(std::string_view key, bool value) override;
};

}  // namespace corvana
