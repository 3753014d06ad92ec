#include "creator/models/check_up.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace corvana {
namespace {

CheckUpFacts healthy() {
  return {.chromeName = "Chromium",
          .profileCount = 2,
          .ownVersion = "0.1.0",
          .helperVersion = "0.1.0",
          .helper = CheckUpFacts::HelperAnswer{.chromeProcess = 1, .windowCount = 3, .isCertain = true},
          .startsAtLogin = true,
          .isDefaultBrowser = true,
          .hasRules = true,
          .apps = {{.name = "Work"}},
          .documents = {{.name = "rules.json"}}};
}

TEST(CheckUpTest, WhatIsWellNeedsNoRemedy) {
  for (const CheckUpLine& line : checkUp(healthy())) {
    EXPECT_EQ(line.state, CheckUpLine::State::fine) << line.text;
    EXPECT_EQ(line.remedy, "") << line.text;
  }
}

TEST(CheckUpTest, EachFaultComesFirstAndSaysWhatToDo) {
  struct Row {
    const char* subject;
    std::function<void(CheckUpFacts&)> happens;
    const char* says;
  };
  const Row rows[] = {
      {"chrome", [](CheckUpFacts& facts) { facts.chromeName.reset(); }, "No Chrome or Chromium found"},
      {"chrome", [](CheckUpFacts& facts) { facts.profileCount = 0; }, "Chromium has no profiles yet"},
      {"windows", [](CheckUpFacts& facts) { facts.helper->problem = "restart Chrome"; },
       "Windows cannot be told apart"},
      {"windows", [](CheckUpFacts& facts) { facts.helper->isCertain = false; }, "It is not known yet"},
      {"helper", [](CheckUpFacts& facts) { facts.helperVersion.reset(); }, "The helper is not installed"},
      {"helper", [](CheckUpFacts& facts) { facts.helper.reset(); }, "The helper does not run"},
      {"helper", [](CheckUpFacts& facts) { facts.helperVersion = "0.0.9"; },
       "The helper is version 0.0.9, Corvana 0.1.0"},
      {"helper", [](CheckUpFacts& facts) { facts.isHelperSwitchedOff = true; }, "as the settings say"},
      {"login", [](CheckUpFacts& facts) { facts.startsAtLogin = false; }, "does not start at login"},
      {"login", [](CheckUpFacts& facts) { facts.loginNeedsApproval = true; }, "switched off in the desktop's settings"},
      {"defaultBrowser",
       [](CheckUpFacts& facts) {
         facts.isDefaultBrowser = false;
         facts.defaultBrowserName = "Firefox";
       },
       "Links go to Firefox, not to Corvana"},
      {"apps", [](CheckUpFacts& facts) { facts.apps.push_back({.name = "Home", .isMissing = true}); },
       "Not found: Home"},
      {"apps", [](CheckUpFacts& facts) { facts.apps.front().rebuildReasons = {"old"}; }, "1 app can be updated"},
      {"rules.json", [](CheckUpFacts& facts) { facts.documents.front().problem = "line 3"; }, "can't be read: line 3"},
      {"rules.json", [](CheckUpFacts& facts) { facts.documents.front().warnings = {"never"}; }, "rules.json: never"},
      {"supportFolder", [](CheckUpFacts& facts) { facts.supportFolderProblem = "disk full"; }, "cannot be written to"},
      {"leftovers", [](CheckUpFacts& facts) { facts.leftovers = "Mirrowen is still here"; }, "still here"},
  };
  for (const Row& row : rows) {
    CheckUpFacts facts = healthy();
    row.happens(facts);
    const std::vector<CheckUpLine> lines = checkUp(facts);
    const CheckUpLine& line = lines.front();
    EXPECT_EQ(line.subject, row.subject) << row.says;
    EXPECT_NE(line.text.find(row.says), std::string::npos) << line.text;
    EXPECT_NE(line.state, CheckUpLine::State::fine);
    EXPECT_TRUE(!line.remedy.empty() || line.subject == "rules.json") << line.text;
    EXPECT_TRUE(std::ranges::is_sorted(lines, {}, &CheckUpLine::state));
  }
}

}  // namespace
}  // namespace corvana
