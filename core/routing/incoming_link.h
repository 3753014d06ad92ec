#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/identity/url.h"

namespace corvana {

/// A link that was opened, as rules look at it. Taken apart once for all rules. A link that no browser would open has
/// neither host nor address.
struct IncomingLink {
  /// `sourceBundleID` is the application that asked for the link to be opened, when it is known.
  IncomingLink(const URL& url, std::optional<std::string_view> sourceBundleID);

  bool isFile = false;
  /// In lower case; empty when there is none.
  std::string host;
  /// As LinkRouter::address has it, folded for comparing. Empty for a file.
  std::string address;
  /// As LinkRouter::filePath has it, folded for comparing. Empty for other links.
  std::string filePath;
  /// Folded for comparing; empty when it is not known.
  std::string source;
};

}  // namespace corvana
