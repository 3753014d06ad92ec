#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace corvana {

/// What a text begins with: a well-formed UTF-8 sequence, or the longest part of one that is damaged.
struct UTF8Sequence {
  std::size_t length = 0;
  bool isWellFormed = false;

  bool operator==(const UTF8Sequence&) const = default;
};

/// The first sequence of a text that is not empty, by table 3-7 of the Unicode Standard: no overlong forms, no
/// surrogates, nothing above U+10FFFF.
constexpr UTF8Sequence firstUTF8Sequence(std::string_view bytes) {
  const auto byteAt = [bytes](std::size_t i) -> unsigned {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;  // zero never continues a sequence
  };
  const unsigned lead = byteAt(0);
  if (lead < 0x80) return {.length = 1, .isWellFormed = true};
  if (lead < 0xC2 || lead > 0xF4) return {.length = 1, .isWellFormed = false};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // Only the second byte has a narrower range, and only after these four.
  unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t i = 1; i < length; ++i) {
    if (byteAt(i) < lowest || byteAt(i) > highest) return {.length = i, .isWellFormed = false};
    lowest = 0x80;
    highest = 0xBF;
  }
  return {.length = length, .isWellFormed = true};
}

/// The text with U+FFFD in place of each damaged part. Foundation refuses a damaged text as a whole, where the product
/// wants the rest of it.
inline std::string repairedUTF8(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(bytes);
    result += sequence.isWellFormed ? bytes.substr(0, sequence.length) : "\xEF\xBF\xBD";
    bytes.remove_prefix(sequence.length);
  }
  return result;
}

}  // namespace corvana
