#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace corvana {

/// One row of an enumeration's table: a case and the text by which it is stored.
template <class Enum>
struct EnumName {
  Enum value;
  std::string_view name;
};

/// Each enumeration that is stored or sent specialises this with its one table, `rows`, in the order of its cases.
template <class Enum>
struct EnumNames;

template <class Enum>
constexpr std::string_view nameOf(Enum value) {
  for (const auto& row : EnumNames<Enum>::rows) {
    if (row.value == value) return row.name;
  }
  return {};
}

/// The case with that name; nothing for any other text. Names are compared byte for byte.
template <class Enum>
constexpr std::optional<Enum> caseNamed(std::string_view name) {
  for (const auto& row : EnumNames<Enum>::rows) {
    if (row.name == name) return row.value;
  }
  return std::nullopt;
}

/// "a, b, c", for error messages that say what was expected.
template <class Enum>
std::string allNames() {
  std::string names;
  for (const auto& row : EnumNames<Enum>::rows) names.append(names.empty() ? "" : ", ").append(row.name);
  return names;
}

}  // namespace corvana
