#include "core/stub/stub_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/identity/json_coding.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::HasSubstr;

const StubConfig everything{.profileDirectory = "Profile 3",
                            .profileName = "Work “ü”",
                            .tabGroupName = "Research",
                            .ownWindow = false,
                            .closeOnQuit = true,
                            .includeIncognito = false,
                            .countAppWindows = true,
                            .symbolName = "star",
                            .badgeColorHex = "#FFFFFF",
                            .symbolStyle = SymbolStyle::dark,
                            .iconStyle = IconStyle::ring};

StubConfig fromJSON(const std::string& text) {
  StubConfig config;
  decode(parseJSON(text), config);
  return config;
}

TEST(StubConfig, EachSourceHasItsDefaults) {
  const auto plist = StubConfig::fromPlist({{"CVNProfileDirectory", {std::string("D")}}});
  StubConfig expected{.profileDirectory = "D", .profileName = "D"};
  expected.iconStyle = IconStyle::badge;
  EXPECT_EQ(plist, expected);
  EXPECT_EQ(plist->symbolName, "globe");
  EXPECT_EQ(plist->badgeColorHex, "#1F2124");
  EXPECT_TRUE(plist->ownWindow && plist->includeIncognito);
  EXPECT_FALSE(plist->closeOnQuit || plist->countAppWindows || plist->isTabGroup());

  const StubConfig json = fromJSON(R"({"profileDirectory": "D", "unknown": [1]})");
  EXPECT_EQ(json.profileName, "");
  EXPECT_EQ(json.iconStyle, IconStyle::segments);
}

TEST(StubConfig, WhatIsWrittenReadsBackEqual) {
  const StubConfig wholeProfile{.profileDirectory = "Default", .profileName = "Home"};
  for (const StubConfig& config : {everything, wholeProfile}) {
    EXPECT_EQ(StubConfig::fromPlist(config.plistEntries()), config);
    EXPECT_EQ(StubConfig::fromPlist(PropertyList::parse(PropertyList::xml(config.plistEntries()))), config);
    EXPECT_EQ(fromJSON(encode(config).dump()), config);
    EXPECT_EQ(std::hash<StubConfig>()(config), std::hash<StubConfig>()(fromJSON(encode(config).dump())));
  }
  EXPECT_EQ(everything.plistEntries().size(), 11);
  EXPECT_EQ(wholeProfile.plistEntries().size(), 9);
  EXPECT_FALSE(wholeProfile.plistEntries().contains("CVNOwnWindow"));
  EXPECT_EQ(encode(wholeProfile).count("tabGroupName"), 0) << "an absent option is left out, not null";
  EXPECT_NE(std::hash<StubConfig>()(everything), std::hash<StubConfig>()(wholeProfile));
}

TEST(StubConfig, AnEmptyTabGroupIsNone) {
  EXPECT_EQ(StubConfig::of({.profileDirectory = "D", .tabGroupName = ""}).tabGroupName, std::nullopt);
  EXPECT_EQ(StubConfig::fromPlist({{"CVNProfileDirectory", {std::string("D")}}, {"CVNTabGroupName", {std::string()}}})
                ->tabGroupName,
            std::nullopt);
  EXPECT_EQ(fromJSON(R"({"profileDirectory": "D", "tabGroupName": ""})").tabGroupName, std::nullopt);
  EXPECT_EQ(fromJSON(R"({"profileDirectory": "D", "tabGroupName": null})").tabGroupName, std::nullopt);
}

TEST(StubConfig, PlistValuesThatDoNotFitGiveDefaultsAndAreLogged) {
  const fakes::RecordingLog log;
  const auto config = StubConfig::fromPlist({{"CVNProfileDirectory", {std::string("D")}},
                                             {"CVNProfileName", {std::int64_t{1}}},
                                             {"CVNTabGroupName", {true}},
                                             {"CVNIncludeIncognito", {std::string("false")}},
                                             {"CVNCloseOnQuit", {std::int64_t{1}}},
                                             {"CVNSymbolStyle", {std::string("Auto")}},
                                             {"CVNIconStyle", {std::string("square")}}});
  StubConfig expected{.profileDirectory = "D", .profileName = "D"};
  expected.iconStyle = IconStyle::badge;
  EXPECT_EQ(config, expected);
  EXPECT_EQ(log.lines().size(), 6);
  EXPECT_THAT(log.lines(), testing::Contains("stub default: Info.plist: CVNIconStyle: \"square\" is none of segments, "
                                             "ring, badge; using badge"));
  EXPECT_EQ(StubConfig::fromPlist({}), std::nullopt);
  EXPECT_EQ(StubConfig::fromPlist({{"CVNProfileDirectory", {true}}}), std::nullopt);
}

TEST(StubConfig, JSONThatDoesNotFitSaysWhere) {
  struct Row {
    const char* json;
    const char* error;
  };
  for (const Row& row : {
           Row{R"({})", "profileDirectory: missing"},
           Row{R"({"profileDirectory": null})", "profileDirectory: missing"},
           Row{R"({"profileDirectory": 1})", "profileDirectory: expected a string, found number"},
           Row{R"({"profileDirectory": "D", "ownWindow": 1})", "ownWindow: expected true or false, found number"},
           Row{R"({"profileDirectory": "D", "iconStyle": "Ring"})",
               "iconStyle: \"Ring\" is none of segments, ring, badge"},
           Row{R"([])", "expected an object, found array"},
           Row{"{\n  \"profileDirectory\": }", "line 2, column 23"},
           Row{R"({"profileDirectory": 1e999})", "number overflow"},
           Row{"{\"profileDirectory\": \"\xff\"}", "ill-formed UTF-8"},
       }) {
    try {
      fromJSON(row.json);
      ADD_FAILURE() << row.json;
    } catch (const DecodingError& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.error)) << row.json;
    }
  }
}

TEST(StubConfig, AResourceComesBeforeTheInfoPlist) {
  const support::TemporaryHome home;
  const Bundle bundle{home.path() / "W.app"};
  EXPECT_EQ(StubConfig::load(bundle), std::nullopt);
  home.write("W.app/Contents/Info.plist", PropertyList::xml(everything.plistEntries()));
  EXPECT_EQ(StubConfig::load(bundle), everything);
  home.write("W.app/Contents/Resources/config.json", R"({"profileDirectory": "From JSON"})");
  EXPECT_EQ(StubConfig::load(bundle)->profileDirectory, "From JSON");
  home.write("W.app/Contents/Resources/config.json", R"({"profileDirectory": 5})");
  try {
    StubConfig::load(bundle);
    ADD_FAILURE() << "a damaged resource is not passed over";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("config.json: profileDirectory: expected a string"));
  }
}

}  // namespace
}  // namespace corvana
