#include "platform/desktop/application_id_linux.h"

#include "platform/text/ascii.h"

namespace corvana {

std::string applicationID(std::string_view bundleIdentifier) {
  std::string result;
  for (const char c : bundleIdentifier) {
    const bool isFirst = result.empty() || result.back() == '.';
    if (isFirst && ascii::isDigit(c)) result += '_';
    result += ascii::isAlphanumeric(c) || c == '.' || c == '-' ? c : '_';
  }
  return result;
}

std::string objectPath(std::string_view applicationID) {
  std::string result = "/";
  for (const char c : applicationID) {
    if (c == '.') {
      result += '/';
    } else {
      result += c == '-' ? '_' : c;
    }
  }
  return result;
}

}  // namespace corvana
