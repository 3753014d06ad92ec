#include "core/browsers/chrome_profiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> directories(const std::string& profile) {
  std::vector<std::string> result;
  for (const ChromeProfile& entry : ChromeProfiles::parse("{\"profile\": " + profile + "}")) {
    result.push_back(entry.directory);
  }
  return result;
}

TEST(ChromeProfiles, ReadsWhatFitsAndTakesTheRestAsAbsent) {
  const support::TemporaryHome home;
  const auto file = home.write("data/Local State", R"({"profile": {"info_cache": {
      "Default": {"name": "Work", "user_name": "ann@example.org", "gaia_name": "Ann Lee", "gaia_given_name": "Ann",
                  "profile_highlight_color": -13877680, "more": [1]},
      "Profile 1": {"name": 5, "user_name": null, "profile_highlight_color": "red"},
      "Profile 2": "no object"}, "profiles_order": ["Profile 1", "Default"]}, "other": {}})");
  EXPECT_EQ(ChromeProfiles::localStateURL(home.path() / "data"), file);
  const auto profiles = ChromeProfiles::load(file);
  ASSERT_EQ(profiles.size(), 2u);
  EXPECT_EQ(profiles[0], (ChromeProfile{.directory = "Profile 1", .name = "Profile 1"}));
  EXPECT_EQ(profiles[0].subtitle(), "Profile 1");
  EXPECT_EQ(profiles[1], (ChromeProfile{"Default", "Work", "ann@example.org", "Ann Lee", "Ann", -13'877'680}));
  EXPECT_THAT(profiles[1].titleIdentities(),
              ElementsAre("ann@example.org", "Ann Lee (Work)", "Ann (Work)", "Ann Lee", "Work"));
  // The length is that in characters, and a text is there once.
  EXPECT_THAT((ChromeProfile{.name = "W\u00FC\u00FC", .userName = "abcd", .gaiaName = "abcd"}).titleIdentities(),
              ElementsAre("abcd (W\u00FC\u00FC)", "abcd", "W\u00FC\u00FC"));
}

TEST(ChromeProfiles, AreInChromesOrderElseByName) {
  const std::string cache = R"("info_cache": {"a": {"name": "b"}, "b": {"name": "B"}, "c": {"name": "Profile 10"},
      "d": {"name": "Profile 2"}, "e": {"name": "profile 3"}})";
  EXPECT_THAT(directories("{" + cache + R"(, "profiles_order": ["d", "gone", "c"]})"),
              ElementsAre("d", "c", "b", "a", "e"));
  EXPECT_THAT(directories("{" + cache + R"(, "profiles_order": []})"), ElementsAre("b", "c", "d", "a", "e"));
  EXPECT_THAT(directories("{" + cache + "}"), ElementsAre("a", "b", "d", "e", "c"));
  EXPECT_THAT(directories("{" + cache + R"(, "profiles_order": ["c", 1]})"), ElementsAre("a", "b", "d", "e", "c"));
  EXPECT_DEATH(directories("{" + cache + R"(, "profiles_order": ["a", "d", "a"]})"), "Duplicate values for key: 'a'");
}

TEST(ChromeProfiles, AnythingElseIsAnEmptyList) {
  for (const char* text : {"", "{", "[]", "{}", R"({"profile": []})", R"({"profile": {}})",
                           R"({"profile": {"info_cache": []}})", R"({"profile": {"info_cache": {}}})"}) {
    EXPECT_THAT(ChromeProfiles::parse(text), IsEmpty()) << text;
  }
  EXPECT_THAT(ChromeProfiles::parse(std::string(1'000'000, '[')), IsEmpty());
  EXPECT_THAT(ChromeProfiles::load("/nonexistent/Local State"), IsEmpty());
  EXPECT_THAT(ChromeProfiles::load("/"), IsEmpty());
}

}  // namespace
}  // namespace corvana
