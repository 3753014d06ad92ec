#include "platform/windows/tab_group_texts.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <map>

#include "platform/windows/locale_pak.h"

namespace corvana {
namespace {

using testing::Optional;
using Saved = TabGroupTexts::Saved;

void append(std::string& bytes, std::uint32_t number, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
}

/// A file with these texts, and one more number for the first of them.
std::string pak(const std::map<std::uint16_t, std::string>& texts, std::uint16_t alias, std::uint16_t aliased = 0) {
  std::string bytes;
  append(bytes, 5, 4);
  append(bytes, 1, 4);
  append(bytes, static_cast<std::uint32_t>(texts.size()), 2);
  append(bytes, 1, 2);
  std::size_t place = 12 + 6 * (texts.size() + 1) + 4;
  std::string contents;
  for (const auto& [number, text] : texts) {
    append(bytes, number, 2);
    append(bytes, static_cast<std::uint32_t>(place + contents.size()), 4);
    contents += text;
  }
  append(bytes, 0, 2);
  append(bytes, static_cast<std::uint32_t>(place + contents.size()), 4);
  append(bytes, alias, 2);
  append(bytes, aliased, 2);
  return bytes + contents;
}

const std::map<std::uint16_t, std::string> english{
    {3, "Closed"}, {7, "$1 - Part of group $2"}, {8, "$1 group $2 - $3 - $4"}, {10, "$1 $2 group - $3"}, {13, "Opened"},
    {14, "Closed"}};

TEST(LocalePakTest, ReadsTexts) {
  const std::string bytes = pak({{2, "two"}, {5, "fünf"}, {9, ""}}, 77, 1);
  const auto texts = LocalePak::read(bytes);
  ASSERT_TRUE(texts);
  EXPECT_EQ(texts->text(2), "two");
  EXPECT_EQ(texts->text(5), "fünf");
  EXPECT_EQ(texts->text(9), "");
  EXPECT_EQ(texts->text(77), "fünf");
  EXPECT_EQ(texts->text(3), std::nullopt);
  EXPECT_EQ(texts->numberOf("fünf"), 5);
  EXPECT_EQ(texts->numberOf("fünf", 6), 77);
  EXPECT_EQ(texts->numberOf("six"), std::nullopt);
}

TEST(LocalePakTest, BrokenFilesAreNone) {
  const std::string whole = pak(english, 77);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(LocalePak::read(std::string_view(whole).substr(0, length))) << length;
  }
  EXPECT_FALSE(LocalePak::read(pak(english, 77, 6)));  // the text of an entry that there is not
  // Any one byte wrong: read or refused, but nothing beyond the file is touched.
  for (std::size_t place = 0; place < whole.size(); ++place) {
    std::string broken = whole;
    broken[place] = '\xFF';
    if (const auto texts = LocalePak::read(broken)) (void)TabGroupTexts::from(*texts, *texts);
  }
}

TEST(TabGroupTextsTest, NamesOfSavedGroups) {
  struct Case {
    const char* button;
    std::optional<Saved> saved;
  };
  const Case cases[] = {
      {" Research group - Opened", Saved{"Research", true}},
      {" Research 2 group - Closed", Saved{"Research 2", false}},
      {" Research - Opened group - Closed", Saved{"Research - Opened", false}},
      {" Opened group - Opened group - Opened", Saved{"Opened group - Opened", true}},
      {R"( A "q" <b> group - Opened)", Saved{R"(A "q" <b>)", true}},
      {" ☕ $3 group - Opened", Saved{"☕ $3", true}},
      {"  group - Closed", Saved{"", false}},
      {"Shared Research group - Opened", std::nullopt},
      {" group - Closed", std::nullopt},
      {" Research group - Elsewhere", std::nullopt},
      {"", std::nullopt},
  };
  for (const Case& each : cases) EXPECT_EQ(TabGroupTexts().saved(each.button), each.saved) << each.button;
}

TEST(TabGroupTextsTest, HeadersAndTabs) {
  const TabGroupTexts texts;
  const std::vector<std::string> names{"Research", "Research 2", "Research - Opened"};
  EXPECT_THAT(texts.nameIn(" group Research - 1 tab, •  Page - Expanded", names), Optional(std::string("Research")));
  EXPECT_THAT(texts.nameIn(" group Research 2 - 1 tab, •  Page - Expanded", names),
              Optional(std::string("Research 2")));
  EXPECT_THAT(texts.nameIn(" group Research - Opened - 2 tabs - Collapsed", names),
              Optional(std::string("Research - Opened")));
  EXPECT_EQ(texts.nameIn(" group Other - 1 tab - Expanded", names), std::nullopt);
  EXPECT_TRUE(texts.belongsTo("Page - Part of group Research - Memory usage - 22 MB", "Research"));
  EXPECT_FALSE(texts.belongsTo("Page", "Research"));
}

TEST(TabGroupTextsTest, OtherLanguagesByTheNumbersOfEnglish) {
  auto german = english;
  german[3] = "Zu";
  german[7] = "$1 – Teil der Gruppe $2";
  german[8] = "$1 Gruppe $2 – $3 – $4";
  german[10] = "Gruppe $1 $2 – $3";
  german[13] = "Geöffnet";
  german[14] = "Geschlossen";
  const std::string englishBytes = pak(english, 77);
  const std::string germanBytes = pak(german, 77);
  const auto texts = TabGroupTexts::from(*LocalePak::read(englishBytes), *LocalePak::read(germanBytes));
  ASSERT_TRUE(texts);
  EXPECT_EQ(texts->saved("Gruppe  Gz – Geöffnet"), (Saved{"Gz", true}));
  EXPECT_EQ(texts->saved("Gruppe  Gz – Geschlossen"), (Saved{"Gz", false}));
  EXPECT_EQ(texts->saved(" Gz group - Opened"), std::nullopt);
  EXPECT_TRUE(texts->mayBeHeader(" Gruppe Gz – 1 Tab – Maximiert", "Gz"));
  EXPECT_TRUE(texts->belongsTo("Seite – Teil der Gruppe Gz", "Gz"));

  german.erase(13);
  const std::string incomplete = pak(german, 77);
  EXPECT_FALSE(TabGroupTexts::from(*LocalePak::read(englishBytes), *LocalePak::read(incomplete)));
}

}  // namespace
}  // namespace corvana
