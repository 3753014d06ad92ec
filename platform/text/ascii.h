#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Characters as formats and protocols know them: ASCII only, whatever the user's language.
namespace corvana::ascii {

constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool isAlphanumeric(char c) {
  return isDigit(c) || isLetter(c);
}
constexpr char lowercased(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

inline void lowercase(std::string& text) {
  for (char& c : text) c = lowercased(c);
}
constexpr bool isASCII(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

/// The value of a hexadecimal digit, else -1.
constexpr int hexadecimalValue(char c) {
  if (isDigit(c)) return c - '0';
  const char lower = lowercased(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr std::string_view upperCaseDigits = "0123456789ABCDEF";
constexpr std::string_view lowerCaseDigits = "0123456789abcdef";

/// Appends the byte as two hexadecimal digits.
inline void appendHexadecimal(std::string& text, unsigned char byte, std::string_view digits) {
  text += digits[byte >> 4];
  text += digits[byte & 0xF];
}

/// Appends `encoded` with every "%" that two hexadecimal digits follow replaced by the byte that they stand for.
inline void appendPercentDecoded(std::string& text, std::string_view encoded) {
  while (true) {
    const std::size_t percent = encoded.find('%');
    text += encoded.substr(0, percent);
    if (percent == std::string_view::npos) return;
    encoded.remove_prefix(percent);
    const bool isEncoded =
        encoded.size() >= 3 && hexadecimalValue(encoded[1]) >= 0 && hexadecimalValue(encoded[2]) >= 0;
    text += isEncoded ? static_cast<char>(hexadecimalValue(encoded[1]) * 16 + hexadecimalValue(encoded[2])) : '%';
    encoded.remove_prefix(isEncoded ? 3 : 1);
  }
}

inline std::string percentDecoded(std::string_view encoded) {
  std::string result;
  appendPercentDecoded(result, encoded);
  return result;
}

}  // namespace corvana::ascii
