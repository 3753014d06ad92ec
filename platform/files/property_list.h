#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace corvana {

struct PropertyValue;
using PropertyArray = std::vector<PropertyValue>;
using PropertyDictionary = std::map<std::string, PropertyValue, std::less<>>;

/// A value of a property list. Kinds that the product has no use for (dates, data) are left out when reading.
struct PropertyValue {
  std::variant<bool, std::int64_t, double, std::string, PropertyArray, PropertyDictionary> value;

  bool operator==(const PropertyValue&) const = default;
};

/// The value under `key` if it is there and of type T, else null.
template <class T>
const T* find(const PropertyDictionary& dictionary, std::string_view key) {
  const auto entry = dictionary.find(key);
  return entry == dictionary.end() ? nullptr : std::get_if<T>(&entry->second.value);
}

/// The bytes are no property list that the product reads; what() says what was expected.
class PropertyListError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Property lists, XML and binary, as files such as a bundle's Info.plist hold them.
struct PropertyList {
  PropertyList() = delete;

  /// Larger lists are refused, and so is nesting deeper than `maximumDepth`: no Info.plist comes near either.
  static constexpr std::size_t maximumBytes = 1 << 20;
  static constexpr int maximumDepth = 64;

  /// Throws PropertyListError unless the bytes hold a property list whose top level is a dictionary.
  static PropertyDictionary parse(std::string_view bytes);

  /// As `parse`, with the file named in the error. Throws std::filesystem::filesystem_error when it cannot be read.
  static PropertyDictionary read(const std::filesystem::path& file);

  /// The XML form.
  static std::string xml(const PropertyDictionary& dictionary);

 private:
  /// Throws PropertyListError for a binary list that could exhaust the memory or the stack of a reader.
  static void checkBinaryStructure(std::string_view bytes);
};

}  // namespace corvana
