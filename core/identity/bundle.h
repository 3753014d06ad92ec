#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/files/property_list.h"

namespace corvana {

/// An application bundle: a folder "Name.app" with Contents/{Info.plist, MacOS/, Resources/}, the same on every system.
struct Bundle {
  std::filesystem::path path;

  /// Its Info.plist; nothing when there is none. Throws PropertyListError when it is damaged and
  /// std::filesystem::filesystem_error when it cannot be read.
  std::optional<PropertyDictionary> infoDictionary() const;

  /// What such a dictionary says of itself: its identifier, and what the application is called in texts for its user;
  /// nothing without a usable text.
  static std::optional<std::string> identifier(const PropertyDictionary& plist);
  static std::optional<std::string> displayName(const PropertyDictionary& plist);

  /// The file "name.extension" of its resources, if there is one.
  std::optional<std::filesystem::path> resource(std::string_view name, std::string_view extension) const;
};

}  // namespace corvana
