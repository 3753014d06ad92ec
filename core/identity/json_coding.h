#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/identity/enum_names.h"
#include "core/identity/uuid.h"

/// How records are read from JSON and written to it. A record has one function template
/// `fields(record, visitor)` beside its coder, which names each of its fields once, by kind:
///
///   required   missing, null or of another type: an error
///   defaulted  missing or null: keeps the member's initialiser; of another type: an error
///   optional   missing or null: nothing, and nothing is written for it; of another type: an error
///
/// Keys that no field names are ignored. This header is for sources only; it is slow to compile.
namespace corvana {

/// A JSON document that does not fit; what() is the place and the problem: "rules[3].target: missing".
class DecodingError : public std::runtime_error {
 public:
  explicit DecodingError(std::string problem) : DecodingError(std::vector<std::string>(), std::move(problem)) {}
  /// A text that is no JSON from this byte on.
  static DecodingError ofSyntax(std::string problem, std::size_t offset);
  /// An error inside the value under `key`, or inside the element "[3]".
  DecodingError(const std::string& key, const DecodingError& inner);

  /// Keys and indices ("[3]") that lead to the place, from the document on.
  const std::vector<std::string>& path() const { return path_; }
  /// Where the text stops being JSON; nothing when it is JSON that does not fit.
  std::optional<std::size_t> syntaxErrorOffset() const { return syntaxErrorOffset_; }

 private:
  DecodingError(std::vector<std::string> path, std::string problem);

  std::vector<std::string> path_;
  std::string problem_;
  std::optional<std::size_t> syntaxErrorOffset_;
};

/// Parses a whole document. Throws DecodingError with line and column when the text is no JSON (UTF-8, RFC 8259).
nlohmann::json parseJSON(std::string_view text);

/// The text of a document: indented, with sorted keys. Bytes in strings that are no UTF-8 become U+FFFD, so that one
/// bad name cannot keep a whole document from being saved.
std::string documentText(const nlohmann::json& document);

// One function for each type that a field may have. Each throws DecodingError unless the value has just that type.
void decode(const nlohmann::json& value, bool& result);
void decode(const nlohmann::json& value, std::string& result);
/// Any number with an integer value in range, so 1.0 and 1e3, too.
void decode(const nlohmann::json& value, std::int64_t& result);
void decode(const nlohmann::json& value, UUID& result);
/// As iso_date.h has it.
void decode(const nlohmann::json& value, std::chrono::sys_seconds& result);

/// The elements' own functions are found where a record's source declares them.
template <class T>
void decode(const nlohmann::json& value, std::vector<T>& result);
template <class T>
void decode(const nlohmann::json& value, std::map<std::string, T>& result);

/// Throw DecodingError when the value is of another kind.
void requireArray(const nlohmann::json& value);
void requireObject(const nlohmann::json& value);

template <class Enum>
requires std::is_enum_v<Enum>
void decode(const nlohmann::json& value, Enum& result) {
  std::string name;
  decode(value, name);
  const auto found = caseNamed<Enum>(name);
  if (!found) throw DecodingError("\"" + name + "\" is none of " + allNames<Enum>());
  result = *found;
}

template <class T>
void decode(const nlohmann::json& value, std::vector<T>& result) {
  requireArray(value);
  result.clear();
  result.reserve(value.size());
  for (const nlohmann::json& element : value) {
    try {
      decode(element, result.emplace_back());
    } catch (const DecodingError& error) {
      throw DecodingError("[" + std::to_string(result.size() - 1) + "]", error);
    }
  }
}

template <class T>
void decode(const nlohmann::json& value, std::map<std::string, T>& result) {
  requireObject(value);
  result.clear();
  for (const auto& [key, element] : value.items()) {
    try {
      decode(element, result[key]);
    } catch (const DecodingError& error) {
      throw DecodingError(key, error);
    }
  }
}

nlohmann::json encode(const std::same_as<bool> auto& value) {
  return value;
}
nlohmann::json encode(const std::same_as<std::int64_t> auto& value) {
  return value;
}
inline nlohmann::json encode(const std::string& value) {
  return value;
}
nlohmann::json encode(const UUID& value);
nlohmann::json encode(const std::chrono::sys_seconds& value);
template <class T>
nlohmann::json encode(const std::vector<T>& values) {
  nlohmann::json array = nlohmann::json::array();
  for (const T& value : values) array.push_back(encode(value));
  return array;
}
template <class T>
nlohmann::json encode(const std::map<std::string, T>& values) {
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [key, value] : values) object[key] = encode(value);
  return object;
}
template <class Enum>
requires std::is_enum_v<Enum> nlohmann::json encode(const Enum& value) {
  return nameOf(value);
}

/// The visitor that fills a record from a JSON object.
class FieldReader {
 public:
  /// Throws DecodingError when `object` is none.
  explicit FieldReader(const nlohmann::json& object);

  template <class T>
  void required(const char* key, T& field) {
    const nlohmann::json* value = valueUnder(key);
    if (value == nullptr) throw DecodingError(key, DecodingError("missing"));
    read(key, *value, field);
  }
  template <class T>
  void defaulted(const char* key, T& field) {
    if (const nlohmann::json* value = valueUnder(key)) read(key, *value, field);
  }
  template <class T>
  void optional(const char* key, std::optional<T>& field) {
    if (const nlohmann::json* value = valueUnder(key)) read(key, *value, field.emplace());
  }

 private:
  /// Null when the key is missing or its value is null.
  const nlohmann::json* valueUnder(const char* key) const;

  template <class T>
  static void read(const char* key, const nlohmann::json& value, T& field) {
    try {
      decode(value, field);
    } catch (const DecodingError& error) {
      throw DecodingError(key, error);
    }
  }

  const nlohmann::json& object_;
};

/// The visitor that makes a JSON object of a record.
class FieldWriter {
 public:
  template <class T>
  void required(const char* key, const T& field) {
    object_[key] = encode(field);
  }
  template <class T>
  void defaulted(const char* key, const T& field) {
    object_[key] = encode(field);
  }
  template <class T>
  void optional(const char* key, const std::optional<T>& field) {
    if (field) object_[key] = encode(*field);
  }

  nlohmann::json take() { return std::move(object_); }

 private:
  nlohmann::json object_ = nlohmann::json::object();
};

}  // namespace corvana
