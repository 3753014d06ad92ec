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

}  // namespace

DecodingError::DecodingError(std::string path, std::string problem)
    : std::runtime_error(path.empty() ? problem : path + ": " + problem),
      path_(std::move(path)),
      problem_(std::move(problem)) {}

DecodingError::DecodingError(const std::string& key, const DecodingError& inner)
    : DecodingError(key + (inner.path_.empty() || inner.path_.starts_with('[') ? "" : ".") + inner.path_,
                    inner.problem_) {}

json parseJSON(std::string_view text) {
  try {
    return json::parse(text);
  } catch (const json::exception& error) {  // not only parse_error: a number out of range is another kind
    // The library's own words, "[json.exception.parse_error.101] parse error at line 1, column 2: ...", less the tag.
    const std::string_view message = error.what();
    const std::size_t tagEnd = message.find("] ");
    throw DecodingError(std::string(tagEnd == std::string_view::npos ? message : message.substr(tagEnd + 2)));
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
