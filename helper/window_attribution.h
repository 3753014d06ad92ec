#pragma once

#include <span>
#include <string>

#include "core/browsers/chrome_profiles.h"
#include "platform/windows/browser_windows.h"

namespace corvana {

/// Whose window it is, as far as the window itself says.
struct WindowAttribution {
  enum class Outcome {
    /// It does not say, or what it says could be more than one profile's.
    unknown,
    profile,
    /// A private or a guest's window; of which profile, Chrome does not show.
    privateWindow
  };

  Outcome outcome = Outcome::unknown;
  /// The profile's folder; empty unless the outcome is `profile`.
  std::string profileDirectory;

  bool operator==(const WindowAttribution&) const = default;

  /// By the exact difference between the window's two names, which is a separator and one of the texts by which a
  /// profile is shown, in any language; never by how a name ends, since names of profiles may end in one another. Any
  /// thread.
  static WindowAttribution from(const BrowserWindowReading& reading, std::span<const ChromeProfile> profiles);
};

}  // namespace corvana
