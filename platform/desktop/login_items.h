#pragma once

#include <string_view>

namespace corvana {

/// The programs that the system starts when the user logs in. Calls block; main thread; failures are
/// std::runtime_error.
class LoginItems {
 public:
  enum class Status { notRegistered, enabled, requiresApproval };

  virtual ~LoginItems() = default;

  /// `requiresApproval`: registered, but the user has switched it off in the system's own settings.
  virtual Status status(std::string_view bundleIdentifier) = 0;

  /// Registers the application with that identifier. One that the user has switched off stays so.
  virtual void add(std::string_view bundleIdentifier) = 0;

  /// Takes the registration back; nothing happens when there is none.
  virtual void remove(std::string_view bundleIdentifier) = 0;
};

}  // namespace corvana
