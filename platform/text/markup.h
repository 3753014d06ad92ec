#pragma once

#include <string>
#include <string_view>

namespace corvana {

/// The text as it is written in XML, and in the markup of notifications and dialogs that is like it.
inline std::string escapedForMarkup(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

}  // namespace corvana
