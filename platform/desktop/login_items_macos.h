#pragma once

#include "platform/desktop/login_items.h"

namespace corvana {

/// The login items in the running application's own bundle (Contents/Library/LoginItems), as Service Management keeps
/// them since macOS 13. The system also starts the program when it is registered, starts it again when it fails, and
/// ends it when the registration is taken back.
class LoginItemsMacOS final : public LoginItems {
 public:
  Status status(std::string_view bundleIdentifier) override;
  void add(std::string_view bundleIdentifier) override;
  void remove(std::string_view bundleIdentifier) override;
};

}  // namespace corvana
