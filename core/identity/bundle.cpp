#include "core/identity/bundle.h"

#include <string>

namespace corvana {

std::optional<PropertyDictionary> Bundle::infoDictionary() const {
  const std::filesystem::path file = path / "Contents/Info.plist";
  if (!std::filesystem::exists(file)) return std::nullopt;
  return PropertyList::read(file);
}

std::optional<std::filesystem::path> Bundle::resource(std::string_view name, std::string_view extension) const {
  std::filesystem::path file = path / "Contents/Resources" / std::string(name).append(".").append(extension);
  if (!std::filesystem::exists(file)) return std::nullopt;
  return file;
}

}  // namespace corvana
