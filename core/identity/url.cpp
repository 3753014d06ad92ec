#include "core/identity/url.h"

#include <algorithm>
#include <utility>

namespace corvana {
namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The value of a hexadecimal digit, else -1.
int hexadecimal(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// The text before the first colon if it has the form of a scheme, else empty.
std::string_view schemeOf(std::string_view text) {
  const std::string_view scheme = text.substr(0, text.find(':'));
  const bool isScheme =
      scheme.size() < text.size() && !scheme.empty() && isLetter(scheme.front()) &&
      std::ranges::all_of(scheme, [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; });
  return isScheme ? scheme : std::string_view();
}

}  // namespace

std::optional<URL> URL::absolute(std::string text) {
  if (schemeOf(text).empty() || text.find('\0') != std::string::npos) return std::nullopt;
  URL url(std::move(text));
  if (url.isFileURL() && url.fileSystemPath().find('\0') != std::string::npos) return std::nullopt;
  return url;
}

URL URL::file(const std::filesystem::path& path) {
  constexpr std::string_view plain = "/-._~!$&'()*+,;=:@";
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text = "file://";
  for (const char c : path.string()) {
    if (isLetter(c) || isDigit(c) || plain.find(c) != std::string_view::npos) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text.append({'%', digits[byte >> 4], digits[byte & 0xF]});
    }
  }
  return URL(std::move(text));
}

bool URL::isFileURL() const {
  const std::string_view scheme = schemeOf(text_);
  return std::ranges::equal(scheme, std::string_view("file"), {},
                            [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
}

std::string URL::fileSystemPath() const {
  std::string_view rest = text_;
  rest.remove_prefix(schemeOf(rest).size() + 1);
  rest = rest.substr(0, rest.find_first_of("?#"));
  if (rest.starts_with("//")) {
    const std::size_t pathStart = rest.find('/', 2);  // what lies between is the host
    rest = pathStart == std::string_view::npos ? std::string_view() : rest.substr(pathStart);
  }

  std::string path;
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (rest[i] == '%' && i + 2 < rest.size() && hexadecimal(rest[i + 1]) >= 0 && hexadecimal(rest[i + 2]) >= 0) {
      path += static_cast<char>(hexadecimal(rest[i + 1]) * 16 + hexadecimal(rest[i + 2]));
      i += 2;
    } else {
      path += rest[i];
    }
  }
  return path.starts_with('/') ? path : "/" + path;
}

}  // namespace corvana
