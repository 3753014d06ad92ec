#pragma once

#include <string>
#include <string_view>

#include "platform/text/utf8_repair.h"

/// Text from strangers, made fit for a terminal. Pure functions, any thread.
namespace corvana::terminal {

/// What must not reach a terminal as it is, by its place in Unicode: it would control it, end a line, or turn the
/// direction of text and so make a name look like another.
constexpr bool isHarmful(char32_t c) {
  const auto isIn = [c](char32_t first, char32_t last) { return c >= first && c <= last; };
  return c < 0x20 || isIn(0x7F, 0x9F)           // control characters
         || c == 0x61C || isIn(0x200E, 0x200F)  // marks of direction
         || isIn(0x2028, 0x202E)                // line separators, embeddings and overrides of direction
         || isIn(0x2066, 0x2069);               // isolates
}

/// Of one character, well-formed.
constexpr char32_t codePointOf(std::string_view utf8) {
  const auto lead = static_cast<unsigned char>(utf8.front());
  char32_t c = utf8.size() == 1 ? lead : lead & (0xFFU >> (utf8.size() + 1));
  for (const char byte : utf8.substr(1)) c = c << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
  return c;
}

/// The text with `replacement(bytes, code point)` in the place of each harmful character, and of each part that is no
/// UTF-8, which has the code point 0.
template <class Replacement>
std::string replacingHarmful(std::string_view text, const Replacement& replacement) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    const std::string_view bytes = text.substr(0, sequence.length);
    const char32_t c = sequence.isWellFormed ? codePointOf(bytes) : U'\0';
    result += isHarmful(c) ? replacement(bytes, c) : std::string(bytes);
    text.remove_prefix(sequence.length);
  }
  return result;
}

}  // namespace corvana::terminal
