#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stub/chrome_launcher.h"
#include "stub/stub_app_delegate.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;

class ProxyAppTest : public testing::Test {
 protected:
  void installChrome() { workspace.installed.emplace("com.google.Chrome", "/Applications/Google Chrome.app"); }
  void startChrome() { workspace.running = {{"com.google.Chrome", 4711}}; }
  static URL url(const char* text) { return *URL::absolute(text); }

  fakes::FakeScheduler scheduler;
  fakes::FakeWorkspace workspace;
  fakes::RecordingLog log;
};

TEST_F(ProxyAppTest, ChromeIsGivenTheProfileAndTheURLs) {
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

TEST_F(ProxyAppTest, ALaunchReportsOnceOnTheMainQueue) {
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

class StubAppDelegateTest : public ProxyAppTest {
 protected:
  StubAppDelegateTest() {
    installChrome();
    const StubConfig config{.profileDirectory = "Profile 7", .profileName = "Work"};
    home.write("W.app/Contents/Info.plist", PropertyList::xml(config.plistEntries()));
  }
  StubAppDelegate makeDelegate(const char* bundle = "W.app") {
    return StubAppDelegate(Bundle{home.path() / bundle}, workspace, scheduler, [this] { ++terminations; });
  }

  support::TemporaryHome home;
  int terminations = 0;
};

TEST_F(StubAppDelegateTest, URLsBeforeTheFirstActivationWaitForIt) {
  StubAppDelegate delegate = makeDelegate();
  delegate.applicationOpen({url("https://a/"), url("https://b/")});
  EXPECT_TRUE(workspace.launches.empty());
  delegate.applicationDidFinishLaunching();
  delegate.applicationOpen({url("https://c/")});
  delegate.applicationShouldHandleReopen();
  ASSERT_EQ(workspace.launches.size(), 3);
  EXPECT_THAT(workspace.launches[0].configuration.arguments,
              ElementsAre("--no-default-browser-check", "--profile-directory=Profile 7", "https://a/", "https://b/"));
  EXPECT_THAT(workspace.launches[1].configuration.arguments, Contains("https://c/"));
  EXPECT_EQ(workspace.launches[2].configuration.arguments.size(), 2);
}

TEST_F(StubAppDelegateTest, EndsAfterChromeOrWhenItNeverComesUp) {
  {
    StubAppDelegate delegate = makeDelegate();
    delegate.applicationDidFinishLaunching();
    scheduler.advance(29s);
    startChrome();
    scheduler.advance(600s);
    EXPECT_EQ(terminations, 0);
    workspace.running.clear();
    scheduler.advance(3s);
    EXPECT_EQ(terminations, 1);
  }
  EXPECT_EQ(scheduler.timerCount(), 0);
  terminations = 0;
  StubAppDelegate delegate = makeDelegate();
  delegate.applicationDidFinishLaunching();
  scheduler.advance(29'999ms);
  EXPECT_EQ(terminations, 0);
  scheduler.advance(1ms);
  EXPECT_EQ(terminations, 1);
}

TEST_F(StubAppDelegateTest, WithoutAUsableConfigurationItStandsForTheDefaultProfile) {
  home.write("Damaged.app/Contents/Info.plist", "damaged");
  home.write("Wrong.app/Contents/Resources/config.json", "{}");
  for (const char* bundle : {"Missing.app", "Damaged.app", "Wrong.app"}) {
    const std::size_t logged = log.lines().size();
    StubAppDelegate delegate = makeDelegate(bundle);
    EXPECT_EQ(delegate.config(), (StubConfig{.profileDirectory = "Default", .profileName = "Default"})) << bundle;
    EXPECT_EQ(delegate.displayName(), "Corvana App") << bundle;
    EXPECT_EQ(log.lines().size(), logged + 1) << bundle;
    EXPECT_THAT(log.lines().back(), testing::HasSubstr("using the profile Default")) << bundle;
  }
}

}  // namespace
}  // namespace corvana
