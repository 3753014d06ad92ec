#include "core/identity/json_coding.h"

#include <limits>

#include "core/identity/iso_date.h"

namespace corvana {
namespace {

using nlohmann::json;

/// "expected a string, found a number"
DecodingError mismatch(const char* expected, const json& found) {
  return DecodingError(std::string("expected ") + expected + ", found " + found.type_name());
}

/// "rules[3].target: "
std::string textOf(const std::vector<std::string>& path) {
  std::string text;
  for (const std::string& element : path) text += (text.empty() || element.starts_with('[') ? "" : ".") + element;
  return text.empty() ? text : text + ": ";
}

std::vector<std::string> prepended(const std::string& key, std::vector<std::string> path) {
  path.insert(path.begin(), key);
  return path;
}

}  // namespace

DecodingError::DecodingError(std::vector<std::string> path, std::string problem)
    : std::runtime_error(textOf(path) + problem), path_(std::move(path)), problem_(std::move(problem)) {}

DecodingError::DecodingError(const std::string& key, const DecodingError& inner)
    : DecodingError(prepended(key, inner.path_), inner.problem_) {}

DecodingError DecodingError::ofSyntax(std::string problem, std::size_t offset) {
  DecodingError error(std::move(problem));
  error.syntaxErrorOffset_ = offset;
  return error;
}

json parseJSON(std::string_view text) {
  // The library's own words, "[json.exception.parse_error.101] parse error at line 1, column 2: ...", less the tag.
  const auto problemOf = [](const json::exception& error) {
    const std::string_view message = error.what();
    const std::size_t tagEnd = message.find("] ");
    return std::string(tagEnd == std::string_view::npos ? message : message.substr(tagEnd + 2));
  };
  try {
    return json::parse(text);
  } catch (const json::parse_error& error) {
    throw DecodingError::ofSyntax(problemOf(error), error.byte == 0 ? 0 : error.byte - 1);
  } catch (const json::exception& error) {
    // A number out of range, "number overflow parsing '1e999'"; the library does not say where.
    const std::string problem = problemOf(error);
    const std::size_t begin = problem.find('\'') + 1;
    const std::size_t offset = text.find(std::string_view(problem).substr(begin, problem.rfind('\'') - begin));
    throw DecodingError::ofSyntax(problem, offset == std::string_view::npos ? 0 : offset);
  }
}

void decode(const json& value, bool& result) {
  if (!value.is_boolean()) throw mismatch("true or false", value);
  result = value.get<bool>();
}

void decode(const json& value, std::string& result) {
  if (!value.is_string()) throw mismatch("a string", value);
  result = value.get_ref<const std::string&>();
}

void decode(const json& value, std::int64_t& result) {
  if (!value.is_number()) throw mismatch("an integer", value);
  const auto fail = [&value] { throw DecodingError("expected an integer of 64 bits, found " + value.dump()); };
  if (value.is_number_float()) {
    constexpr double limit = 9'223'372'036'854'775'808.0;  // 2^63, which is exact
    const double number = value.get<double>();
    if (!(number >= -limit && number < limit) || number != static_cast<double>(static_cast<std::int64_t>(number))) {
      fail();
    }
    result = static_cast<std::int64_t>(number);
    return;
  }
  if (value.is_number_unsigned() &&
      value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
    fail();
  }
  result = value.get<std::int64_t>();
}

void decode(const json& value, UUID& result) {
  std::string text;
  decode(value, text);
  const auto uuid = UUID::parse(text);
  if (!uuid) throw DecodingError("expected a UUID of 36 characters, found \"" + text + "\"");
  result = *uuid;
}

void decode(const json& value, std::chrono::sys_seconds& result) {
  std::string text;
  decode(value, text);
  const auto date = parseISODate(text);
  if (!date) throw DecodingError("expected a date like 2026-01-02T03:04:05Z, found \"" + text + "\"");
  result = *date;
}

json encode(const UUID& value) {
  return value.string();
}

json encode(const std::chrono::sys_seconds& value) {
  return isoDate(value);
}

void requireArray(const json& value) {
  if (!value.is_array()) throw mismatch("an array", value);
}

void requireObject(const json& value) {
  if (!value.is_object()) throw mismatch("an object", value);
}

std::string documentText(const json& document) {
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

FieldReader::FieldReader(const json& object) : object_(object) {
  requireObject(object);
}

const json* FieldReader::valueUnder(const char* key) const {
  const auto found = object_.find(key);
  return found == object_.end() || found->is_null() ? nullptr : &*found;
}

}  // namespace corvana
