#pragma once

#include <compare>
#include <string>
#include <string_view>
#include <vector>

/// Text as people see it, by the rules of Unicode. Pure functions over UTF-8, any thread; bytes that are no UTF-8 read
/// as U+FFFD. Kept in a library of its own so that programs which do without never load the Unicode data.
namespace corvana::text {

/// One user-perceived character (an extended grapheme cluster).
struct Character {
  std::string utf8;
  /// Its first code point has the property Alphabetic.
  bool isLetter = false;
  /// Its first code point has a numeric value.
  bool isNumber = false;
};

/// The whole text in lower case, independent of the user's language.
std::string lowercased(std::string_view utf8);

/// The text in the form that is the same for all texts which people take for the same, letter case apart: in lower case
/// and composed (Unicode's normalization form C).
std::string folded(std::string utf8);

/// The user-perceived characters of the text, in order.
std::vector<Character> characters(std::string_view utf8);

/// The order of names as a file manager sorts them in the user's language: letter case does not count, and digits count
/// by the number that they write.
std::weak_ordering compareStandard(std::string_view a, std::string_view b);

}  // namespace corvana::text
