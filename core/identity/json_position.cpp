#include "core/identity/json_position.h"

#include <simdjson.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace corvana {
namespace {

/// The offset of the value at the path; nothing when there is none. A path's elements are keys and indices like "[3]".
std::optional<std::size_t> offsetOf(const std::vector<std::string>& path, const simdjson::padded_string& text) {
  std::string pointer;  // RFC 6901
  for (const std::string& element : path) {
    pointer += '/';
    if (element.starts_with('[')) {
      pointer += element.substr(1, element.size() - 2);
      continue;
    }
    for (const char c : element) pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  }
  simdjson::ondemand::parser parser;
  simdjson::ondemand::document document;
  if (parser.iterate(text).get(document) != simdjson::SUCCESS) return std::nullopt;
  std::string_view token;
  if (path.empty()) {
    if (document.raw_json_token().get(token) != simdjson::SUCCESS) return std::nullopt;
  } else {
    simdjson::ondemand::value value;
    if (document.at_pointer(pointer).get(value) != simdjson::SUCCESS) return std::nullopt;
    token = value.raw_json_token();
  }
  return static_cast<std::size_t>(token.data() - text.data());
}

TextPosition positionAt(std::size_t offset, std::string_view text) {
  const std::string_view before = text.substr(0, offset);
  return {.line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1,
          .column = before.size() - (before.rfind('\n') + 1) + 1};
}

}  // namespace

TextPosition positionOf(const DecodingError& error, std::string_view text) {
  if (const auto offset = error.syntaxErrorOffset()) return positionAt(*offset, text);
  return positionOf(error.path(), text);
}

TextPosition positionOf(std::vector<std::string> path, std::string_view text) {
  const simdjson::padded_string padded(text);
  for (;; path.pop_back()) {
    const auto offset = offsetOf(path, padded);
    if (offset || path.empty()) return positionAt(offset.value_or(0), text);
  }
}

}  // namespace corvana
