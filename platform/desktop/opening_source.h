#pragma once

#include <string>

namespace corvana {

/// The application that asked for something to be opened.
struct OpeningSource {
  std::string bundleIdentifier;
  /// For users; empty when the system has none.
  std::string name;

  bool operator==(const OpeningSource&) const = default;
};

}  // namespace corvana
