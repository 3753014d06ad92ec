// Takes links apart for a comparison with another program. Reads one link a line, in hexadecimal; answers each with a
// line: "host path query", decoded and in hexadecimal after an "=", or "failure".

#include <iostream>
#include <string>
#include <string_view>

#include "core/routing/link_parts.h"
#include "platform/text/ascii.h"

namespace {

using namespace corvana;

std::string fromHexadecimal(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(ascii::hexadecimalValue(digits[i]) * 16 + ascii::hexadecimalValue(digits[i + 1]));
  }
  return bytes;
}

std::string toHexadecimal(std::string_view bytes) {
  std::string digits = "=";
  for (const char c : bytes) {
    ascii::appendHexadecimal(digits, static_cast<unsigned char>(c), ascii::lowerCaseDigits);
  }
  return digits;
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    const auto url = URL::absolute(fromHexadecimal(line));
    const auto parts = url ? LinkParts::split(*url) : std::nullopt;
    if (parts) {
      std::cout << toHexadecimal(parts->host) << ' ' << toHexadecimal(ascii::percentDecoded(parts->path)) << ' '
                << toHexadecimal(ascii::percentDecoded(parts->query)) << '\n';
    } else {
      std::cout << "failure\n";
    }
  }
}
