#include "helper/window_attribution.h"

#include <gtest/gtest.h>

#include <vector>

namespace corvana {
namespace {

using Outcome = WindowAttribution::Outcome;

const std::vector<ChromeProfile> profiles{
    {.directory = "Default", .name = "Work", .gaiaName = "Ann Lee"},
    {.directory = "Profile 1", .name = "Home Work"},
    {.directory = "Profile 2", .name = "- Work"},
    {.directory = "Profile 3", .name = "Chromium - Work"},
    {.directory = "Profile 4", .name = "☕ Café – Work"},
    {.directory = "Profile 5", .name = "Twin"},
    {.directory = "Profile 6", .name = "Twin"},
};

TEST(WindowAttributionTest, ByTheDifferenceOfTheNames) {
  struct Row {
    const char* title;
    const char* name;
    Outcome outcome;
    const char* profile = "";
    const char* button = nullptr;
  };
  const Row rows[] = {
      {"A - Chromium", "A - Chromium - Work", Outcome::profile, "Default"},
      {"A - Chromium", "A - Chromium - Home Work", Outcome::profile, "Profile 1"},
      {"A - Chromium", "A - Chromium - - Work", Outcome::profile, "Profile 2"},
      {"A - Chromium", "A - Chromium - Chromium - Work", Outcome::profile, "Profile 3"},
      {"A - Chromium", "A - Chromium – ☕ Café – Work", Outcome::profile, "Profile 4"},
      {"A - Chromium", "A - Chromium — Ann Lee (Work)", Outcome::profile, "Default"},
      {"A - Chromium", "A - Chromium - Twin", Outcome::unknown},
      {"A - Chromium", "A - Chromium - New", Outcome::unknown},
      {"A - Chromium", "A - Chromium - work", Outcome::unknown},
      {"Page - Work", "Page - Work - Home Work", Outcome::profile, "Profile 1"},  // an app window
      {"A - Chromium", "A - Chromium (Incognito)", Outcome::privateWindow},
      {"A - Chromium", "A - Chromium（シークレット モード）", Outcome::privateWindow},
      {"A - Chromium", "A - Chromium", Outcome::unknown},
      {"A - Chromium", "A - Chromium", Outcome::profile, "Profile 1", "Home Work"},
      {"A - Chromium", "A - Chromium", Outcome::unknown, "", "You"},
      // Marks of the tab's state stand in the middle.
      {"A - Chromium", "A - Part of group Research - Chromium - Work", Outcome::profile, "Default"},
      {"A - Chromium", "A - Camera recording - Chromium - Home Work", Outcome::profile, "Profile 1"},
      {"A - Chromium", "A - Audio playing - Chromium (Incognito)", Outcome::privateWindow},
      // Two ways to read it.
      {"A - Chromium", "A - Part of group Chromium - Chromium - Work", Outcome::unknown},
      {"A - Chromium", "B - Audio", Outcome::unknown},
      {"", "", Outcome::unknown},
  };
  for (const Row& row : rows) {
    BrowserWindowReading reading{.name = row.name, .title = row.title};
    if (row.button != nullptr) reading.profileButton = row.button;
    const WindowAttribution expected{row.outcome, row.profile};
    EXPECT_EQ(WindowAttribution::from(reading, profiles), expected) << row.title << " / " << row.name;
  }
}

TEST(WindowAttributionTest, TheOnlyProfileHasWindowsThatNameNone) {
  const std::vector<ChromeProfile> one{{.directory = "Default", .name = "Work"}};
  const WindowAttribution work{Outcome::profile, "Default"};
  EXPECT_EQ(WindowAttribution::from({.name = "A - Chromium", .title = "A - Chromium", .profileButton = "You"}, one),
            work);
  EXPECT_EQ(WindowAttribution::from({.name = "App", .title = "App"}, one), work);
  // A second profile of which Chrome's file does not tell yet.
  EXPECT_EQ(WindowAttribution::from({.name = "A - Chromium - Home", .title = "A - Chromium"}, one),
            WindowAttribution());
  EXPECT_EQ(WindowAttribution::from({.name = "A - Chromium", .title = "A - Chromium"}, {}), WindowAttribution());
}

TEST(WindowAttributionTest, WhereASystemShowsOneName) {
  const auto attribution = [](const char* name) { return WindowAttribution::from({.name = name}, profiles); };
  EXPECT_EQ(attribution("A - Google Chrome - Home Work"), (WindowAttribution{Outcome::profile, "Profile 1"}));
  EXPECT_EQ(attribution("A - Google Chrome (Incognito)").outcome, Outcome::privateWindow);
}

}  // namespace
}  // namespace corvana
