#pragma once

#include <array>
#include <span>
#include <string_view>

namespace corvana {

/// One browser that the product knows, and how Linux names it.
struct KnownBrowser {
  std::string_view bundleIdentifier;
  /// Names of its desktop entries, the likeliest first: packages of makers and distributions, snaps, Flatpaks. Unused
  /// places are empty, all of them for browsers that Linux does not have.
  std::array<std::string_view, 4> desktopIDs;
  /// Its folder below the configuration directory, which holds its profiles and its process lock; empty for browsers
  /// whose processes nobody asks for.
  std::string_view configDirectory;
  /// The browser to use in its place where the system does not have it; empty for none.
  std::string_view standIn;
};

/// Every browser known, each once.
std::span<const KnownBrowser> knownBrowsers();

/// The browser with that bundle identifier, else null.
const KnownBrowser* knownBrowser(std::string_view bundleIdentifier);

}  // namespace corvana
