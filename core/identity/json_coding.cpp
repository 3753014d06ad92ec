#include "core/identity/json_coding.h"

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

FieldReader::FieldReader(const json& object) : object_(object) {
  if (!object.is_object()) throw mismatch("an object", object);
}

const json* FieldReader::valueUnder(const char* key) const {
  const auto found = object_.find(key);
  return found == object_.end() || found->is_null() ? nullptr : &*found;
}

}  // namespace corvana
