#include "stub/chrome_launcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;

class ChromeLauncherTest : public testing::Test {
 protected:
  void installChrome() { workspace.installed.emplace("com.google.Chrome", "/Applications/Google Chrome.app"); }
  static URL url(const char* text) { return *URL::absolute(text); }

  fakes::FakeScheduler scheduler;
  fakes::FakeWorkspace workspace;
  fakes::RecordingLog log;
};

TEST_F(ChromeLauncherTest, ChromeIsGivenTheProfileAndTheURLs) {
  installChrome();
  ChromeLauncher::launch(workspace, scheduler, "Profile 1", {}, nullptr);
  ChromeLauncher::launch(workspace, scheduler, "A \"B\"",
                         std::vector{url("file:///tmp/a%20b.html"), url("https://example.org/%20%f?a=b c")}, nullptr);
  ASSERT_EQ(workspace.launches.size(), 2);
  EXPECT_EQ(workspace.launches[0].configuration,
            (OpenConfiguration{.arguments = {"--no-default-browser-check", "--profile-directory=Profile 1"},
                               .createsNewApplicationInstance = true,
                               .activates = true,
                               .addsToRecentItems = false}));
  EXPECT_THAT(workspace.launches[1].configuration.arguments,
              ElementsAre("--no-default-browser-check", "--profile-directory=A \"B\"", "/tmp/a b.html",
                          "https://example.org/%20%f?a=b c"));
  EXPECT_THAT(log.lines(), Contains("stub info: launching Chrome for A \"B\", 2 url(s)"));
}

TEST_F(ChromeLauncherTest, ALaunchReportsOnceOnTheMainQueue) {
  std::vector<bool> results;
  const auto record = [&results](bool succeeded) { results.push_back(succeeded); };
  ChromeLauncher::launch(workspace, scheduler, "Default", {}, record);  // there is no Chrome
  workspace.deliverReports();
  EXPECT_THAT(results, ElementsAre()) << "the system's thread is not the main one";
  scheduler.advance(60s);
  EXPECT_THAT(results, ElementsAre(false));
  installChrome();
  ChromeLauncher::launch(workspace, scheduler, "Default", {}, record);
  workspace.openError = OpenError{"no memory"};
  ChromeLauncher::launch(workspace, scheduler, "Default", {}, nullptr);
  workspace.deliverReports();
  scheduler.advance(60s);
  EXPECT_THAT(results, ElementsAre(false, true));
  EXPECT_THAT(log.lines(),
              Contains("stub error: Chrome launch failed: /Applications/Google Chrome.app: no such application"));
  EXPECT_THAT(log.lines(), Contains("stub error: Chrome launch failed: no memory")) << "also without a completion";
}

}  // namespace
}  // namespace corvana
