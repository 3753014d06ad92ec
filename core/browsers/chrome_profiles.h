#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// A profile of Chrome, by what Chrome's own state file says of it.
struct ChromeProfile {
  /// Its folder in the user data directory, by which Chrome is told to use it.
  std::string directory;
  std::string name;
  /// The signed-in account's address, full name and given name; empty without one.
  std::string userName;
  std::string gaiaName;
  std::string gaiaGivenName;
  /// The profile's colour as Chrome stores it: ARGB in a signed integer.
  std::optional<std::int64_t> highlightColor;

  /// A second line under the name.
  const std::string& subtitle() const { return userName.empty() ? directory : userName; }

  /// The texts by which a window of this profile may say so in its title, the longest first.
  std::vector<std::string> titleIdentities() const;

  bool operator==(const ChromeProfile&) const = default;
};

/// Chrome's list of its profiles. Any thread; reads files, writes none.
struct ChromeProfiles {
  ChromeProfiles() = delete;

  static std::filesystem::path localStateURL(const std::filesystem::path& userDataDirectory);

  /// The profiles in Chrome's own order; none when the file cannot be read or is not what was expected, as that of a
  /// Chrome which has just been started for the first time. Ends the process when Chrome's order names a profile twice.
  static std::vector<ChromeProfile> load(const std::filesystem::path& localState);

  /// The same from the file's text.
  static std::vector<ChromeProfile> parse(std::string_view localState);

  /// Chrome's order names a profile twice.
  class DuplicateProfile : public std::runtime_error {
   public:
    explicit DuplicateProfile(const std::string& directory)
        : std::runtime_error("Duplicate values for key: '" + directory + "'") {}
  };
  /// The same for a program that must outlive such a file. Throws DuplicateProfile.
  static std::vector<ChromeProfile> parseOrThrow(std::string_view localState);
};

}  // namespace corvana

template <>
struct std::hash<corvana::ChromeProfile> {
  std::size_t operator()(const corvana::ChromeProfile& profile) const noexcept;
};
