#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/property_list.h"

namespace corvana {

/// The revisions of the proxy-app template, and what each has improved, for users whose apps were built from an older
/// one. Pure functions; any thread.
struct StubRevision {
  StubRevision() = delete;

  /// That of the template which this program is.
  static constexpr std::int64_t current = 7;
  /// The key under which a built app's Info.plist has its revision.
  static constexpr std::string_view plistKey = "CVNStubRevision";
  static constexpr std::string_view genericAdvice =
      "This app was built before Corvana recorded what its apps include. Rebuilding brings it up to date.";

  /// Nothing when the key is missing or no integer.
  static std::optional<std::int64_t> revision(const PropertyDictionary& plist);

  static bool isOutdated(std::optional<std::int64_t> revision);
  /// What later revisions have improved, oldest first; nothing is known of an app without a revision.
  static std::vector<std::string> improvements(std::optional<std::int64_t> since);
  /// The improvements as one text, or the generic advice when there are none.
  static std::string advice(std::optional<std::int64_t> since);
};

}  // namespace corvana
