#pragma once

#include <map>
#include <string>

#include "platform/desktop/login_items.h"

namespace corvana::fakes {

/// The system's login items in memory.
class FakeLoginItems final : public LoginItems {
 public:
  Status status(std::string_view bundleIdentifier) override {
    const auto found = items.find(bundleIdentifier);
    if (found == items.end()) return Status::notRegistered;
    return found->second ? Status::enabled : Status::requiresApproval;
  }
  void add(std::string_view bundleIdentifier) override { items.try_emplace(std::string(bundleIdentifier), true); }
  void remove(std::string_view bundleIdentifier) override { items.erase(std::string(bundleIdentifier)); }

  /// What is registered, and whether the user lets it start.
  std::map<std::string, bool, std::less<>> items;
};

}  // namespace corvana::fakes
