#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// The wildcard matcher. "*" stands for any run of characters, the empty one included; no other character is special,
/// and there is no way to quote. Letter case does not count, the whole text must match, and characters are what people
/// take for one (extended grapheme clusters, of which equal ones may be composed or not). Any thread.
struct Glob {
  Glob() = delete;

  static bool matches(std::string_view pattern, std::string_view text);

  /// Whether each byte of a text is a character of its own: ASCII without a carriage return, which is one character
  /// with a line feed behind it.
  static bool isPlain(std::string_view text);

  /// The same as `matches`, for a pattern and a plain text that are both folded. If the text is not plain this tells
  /// less: where it says no, `matches` does.
  static bool matchesBytes(std::string_view foldedPattern, std::string_view foldedText);

  /// The same as `matches`, for a folded pattern and the characters of a folded text.
  static bool matchesCharacters(std::string_view foldedPattern, const std::vector<std::string>& characters);
  static std::vector<std::string> charactersOf(std::string_view folded);
};

}  // namespace corvana
