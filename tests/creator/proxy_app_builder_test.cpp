#include "creator/proxy_app_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "creator/proxy_app_icon.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(ProxyAppBuilder, LeavesNothingHalfMade) {
  const support::TemporaryHome home;
  const StubConfig config{.profileDirectory = "Profile 3", .profileName = "Work"};
  const auto listing = [&home] {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(home.path() / "apps")) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  };
  const ProxyAppPlan plan{home.path() / "apps/Work.app", "app.corvana.0123456789ab", config, RECORDER};
  ProxyAppBuilder::build(plan, false);
  EXPECT_EQ(StubConfig::load(Bundle{plan.destination}), config);
  EXPECT_THROW(ProxyAppBuilder::build(plan, false), std::filesystem::filesystem_error);
  ProxyAppPlan broken = plan;
  broken.config.profileDirectory = "Other";
  broken.stubExecutable = "/nonexistent";
  EXPECT_THROW(ProxyAppBuilder::build(broken, true), std::filesystem::filesystem_error);
  EXPECT_THAT(listing(), ElementsAre("Work.app"));
  EXPECT_EQ(StubConfig::load(Bundle{plan.destination}), config);
  broken.stubExecutable = RECORDER;
  const auto fail = [] { throw std::runtime_error("no registry"); };
  EXPECT_THROW(ProxyAppBuilder::build(broken, true, fail), std::runtime_error);
  EXPECT_EQ(StubConfig::load(Bundle{plan.destination}), config) << "what was there is back";
  broken.destination = home.path() / "apps/Other.app";
  EXPECT_THROW(ProxyAppBuilder::build(broken, false, fail), std::runtime_error);
  EXPECT_THAT(listing(), ElementsAre("Work.app"));
  broken.destination = plan.destination;
  ProxyAppBuilder::build(broken, true);
  EXPECT_EQ(StubConfig::load(Bundle{plan.destination})->profileDirectory, "Other");
  EXPECT_THAT(listing(), ElementsAre("Work.app"));
}

TEST(ProxyAppBuilder, SharesItsProgramOnlyWhereNobodyElseMayChangeIt) {
  const support::TemporaryHome home;
  const auto stub = home.write("stub", "program");
  ProxyAppPlan plan{home.path() / "Work.app", "app.corvana.0", {.profileDirectory = "Default"}, stub};
  ProxyAppBuilder::build(plan, false);
  EXPECT_EQ(std::filesystem::hard_link_count(stub), 2u);
  std::filesystem::permissions(stub, std::filesystem::perms::group_write, std::filesystem::perm_options::add);
  ProxyAppBuilder::build(plan, true);
  EXPECT_EQ(std::filesystem::hard_link_count(stub), 1u);
  EXPECT_EQ(support::readFile(plan.destination / "Contents/MacOS/CorvanaStub"), "program");
}

TEST(ProxyAppIcon, ShowsAReadableLetter) {
  const auto svg = [](const char* colour, SymbolStyle style, const char* name) {
    return ProxyAppIcon::svg({.badgeColorHex = colour, .symbolStyle = style}, name);
  };
  EXPECT_THAT(svg("#FFEE00", SymbolStyle::auto_, "work"), HasSubstr("fill=\"#000000\">w</text>"));
  EXPECT_THAT(svg("#1F2124", SymbolStyle::auto_, "Éa"), HasSubstr("fill=\"#FFFFFF\">É</text>"));
  EXPECT_THAT(svg("#FFEE00", SymbolStyle::light, "&<"), HasSubstr("fill=\"#FFFFFF\">&amp;</text>"));
  const std::string damaged = svg("red\"/><x", SymbolStyle::auto_, "");
  EXPECT_THAT(damaged, HasSubstr("fill=\"#1F2124\""));
  EXPECT_THAT(damaged, testing::Not(HasSubstr("red")));
}

}  // namespace
}  // namespace corvana
