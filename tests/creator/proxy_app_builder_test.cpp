#include "creator/proxy_app_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using testing::ElementsAre;

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
  ProxyAppBuilder::build(broken, true);
  EXPECT_EQ(StubConfig::load(Bundle{plan.destination})->profileDirectory, "Other");
  EXPECT_THAT(listing(), ElementsAre("Work.app"));
}

}  // namespace
}  // namespace corvana
