#include "core/identity/bundle.h"

#include <string>

namespace corvana {

std::optional<PropertyDictionary> Bundle::infoDictionary() const {
  const std::filesystem::path file = path / "Contents/Info.plist";
  if (!std::filesystem::exists(file)) return std::nullopt;
  return PropertyList::read(file);
}

std::optional<std::string> Bundle::identifier(const PropertyDictionary& plist) {
  const auto* identifier = find<std::string>(plist, "CFBundleIdentifier");
  return identifier == nullptr ? std::nullopt : std::optional(*identifier);
}

std::optional<std::string> Bundle::displayName(const PropertyDictionary& plist) {
  for (const std::string_view key : {"CFBundleDisplayName", "CFBundleName"}) {
    if (const auto* name = find<std::string>(plist, key)) return *name;
  }
  return std::nullopt;
}

std::optional<std::filesystem::path> Bundle::resource(std::string_view name, std::string_view extension) const {
  std::filesystem::path file = path / "Contents/Resources" / std::string(name).append(".").append(extension);
  if (!std::filesystem::exists(file)) return std::nullopt;
  return file;
}

}  // namespace corvana
