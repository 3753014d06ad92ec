#include "platform/text/utf8_repair.h"

#include <gtest/gtest.h>

namespace corvana {
namespace {

TEST(RepairedUTF8, KeepsWhatIsWellFormed) {
  // The first and the last code point of each row of table 3-7.
  for (const std::string_view text :
       {std::string_view("\0\x7F", 2), std::string_view("\xC2\x80\xDF\xBF"),
        std::string_view("\xE0\xA0\x80\xE0\xBF\xBF"), std::string_view("\xE1\x80\x80\xEC\xBF\xBF"),
        std::string_view("\xED\x80\x80\xED\x9F\xBF"), std::string_view("\xEE\x80\x80\xEF\xBF\xBF"),
        std::string_view("\xF0\x90\x80\x80\xF0\xBF\xBF\xBF"), std::string_view("\xF1\x80\x80\x80\xF3\xBF\xBF\xBF"),
        std::string_view("\xF4\x80\x80\x80\xF4\x8F\xBF\xBF"), std::string_view()}) {
    EXPECT_EQ(repairedUTF8(text), text);
  }
}

TEST(RepairedUTF8, ReplacesEachDamagedPart) {
  struct Row {
    const char* name;
    std::string_view bytes;
    std::string_view expected;
  };
  // In the expected texts "?" stands for the replacement character.
  for (const auto& [name, bytes, expected] : {
           Row{"a continuation alone", "a\x80z", "a?z"},
           Row{"a cut sequence at the end", "a\xE2\x82", "a?"},
           Row{"a lead byte alone at the end", "\xF0", "?"},
           Row{"a cut sequence before a letter", "\xF0\x9F\x98z", "?z"},
           Row{"a cut sequence before a whole one", "\xE2\x82\xC3\xBC", "?\xC3\xBC"},
           Row{"an overlong slash", "\xC0\xAF", "??"},
           Row{"an overlong slash of three bytes", "\xE0\x80\xAF", "???"},
           Row{"an overlong form of four bytes", "\xF0\x8F\xBF\xBF", "????"},
           Row{"a surrogate", "\xED\xA0\x80", "???"},
           Row{"above the last code point", "\xF4\x90\x80\x80", "????"},
           Row{"bytes that begin nothing", "\xF5\x80\x80\x80\xFF", "?????"},
           Row{"damaged parts of several lengths", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
       }) {
    std::string wanted;
    for (const char c : expected) wanted += c == '?' ? "\uFFFD" : std::string(1, c);
    EXPECT_EQ(repairedUTF8(bytes), wanted) << name;
  }
}

}  // namespace
}  // namespace corvana
