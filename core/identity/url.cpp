#include "core/identity/url.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii.h"

namespace corvana {
namespace {

using ascii::isAlphanumeric;
using ascii::isLetter;

/// The text before the first colon if it has the form of a scheme, else empty.
std::string_view schemeOf(std::string_view text) {
  const std::string_view scheme = text.substr(0, text.find(':'));
  const bool isScheme =
      scheme.size() < text.size() && !scheme.empty() && isLetter(scheme.front()) &&
      std::ranges::all_of(scheme, [](char c) { return isAlphanumeric(c) || c == '+' || c == '-' || c == '.'; });
  return isScheme ? scheme : std::string_view();
}

}  // namespace

std::optional<URL> URL::absolute(std::string text) {
  if (schemeOf(text).empty() || text.find('\0') != std::string::npos) return std::nullopt;
  URL url(std::move(text));
  if (url.isFileURL() && url.fileSystemPath().find('\0') != std::string::npos) return std::nullopt;
  return url;
}

std::optional<URL> URL::ofArgument(const std::string& argument) {
  if (auto url = absolute(argument)) return url;
  std::error_code error;
  if (!std::filesystem::exists(argument, error)) return std::nullopt;
  return file(std::filesystem::absolute(argument));
}

URL URL::file(const std::filesystem::path& path) {
  constexpr std::string_view plain = "/-._~!$&'()*+,;=:@";
  std::string text = "file://";
  for (const char c : path.string()) {
    if (isAlphanumeric(c) || plain.find(c) != std::string_view::npos) {
      text += c;
    } else {
      text += '%';
      ascii::appendHexadecimal(text, static_cast<unsigned char>(c), ascii::upperCaseDigits);
    }
  }
  return URL(std::move(text));
}

bool URL::isFileURL() const {
  const std::string_view scheme = schemeOf(text_);
  return std::ranges::equal(scheme, std::string_view("file"), {}, ascii::lowercased);
}

std::string URL::fileSystemPath() const {
  std::string_view rest = text_;
  rest.remove_prefix(schemeOf(rest).size() + 1);
  rest = rest.substr(0, rest.find_first_of("?#"));
  if (rest.starts_with("//")) {
    const std::size_t pathStart = rest.find('/', 2);  // what lies between is the host
    rest = pathStart == std::string_view::npos ? std::string_view() : rest.substr(pathStart);
  }

  std::string path = ascii::percentDecoded(rest);
  return path.starts_with('/') ? path : "/" + path;
}

}  // namespace corvana
