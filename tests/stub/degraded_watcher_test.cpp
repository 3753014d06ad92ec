#include "stub/degraded_watcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "core/stub/chrome_windows.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_window_list.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Reading = DegradedWatcher::Reading;

constexpr pid_t chrome = 4711;

class DegradedWatcherTest : public testing::Test {
 protected:
  void startChrome() { workspace.running = {{"com.google.Chrome", chrome}}; }
  std::unique_ptr<DegradedWatcher> makeWatcher() {
    return std::make_unique<DegradedWatcher>(workspace, windows, scheduler,
                                             [this](const Reading& reading) { readings.push_back(reading); });
  }

  fakes::FakeScheduler scheduler;
  fakes::FakeWorkspace workspace;
  fakes::FakeWindowList windows;
  fakes::RecordingLog log;
  std::vector<Reading> readings;
};

TEST_F(DegradedWatcherTest, CountsTheNormalWindowsOfChrome) {
  struct Row {
    const char* what;
    WindowDescription window;
    std::int64_t count;
  };
  startChrome();
  for (const Row& row : {Row{"normal", {chrome, 101, 0}, 1}, Row{"too low", {chrome, 100, 0}, 0},
                         Row{"no layer", {chrome, 800, std::nullopt}, 1}, Row{"a menu", {chrome, 800, 101}, 0},
                         Row{"no height", {chrome, std::nullopt, 0}, 0}, Row{"another's", {chrome + 1, 800, 0}, 0},
                         Row{"nobody's", {std::nullopt, 800, 0}, 0}}) {
    windows.list = {row.window};
    EXPECT_EQ(ChromeWindows::onScreenCount(workspace, windows), row.count) << row.what;
    EXPECT_EQ(ChromeWindows::visibleWindows(workspace, windows), row.count > 0) << row.what;
  }
  windows.list = {{chrome, 800, 0}, {chrome, 50, 0}, {chrome, 600, std::nullopt}};
  EXPECT_EQ(ChromeWindows::onScreenCount(workspace, windows), 2);
  windows.isComplete = false;
  EXPECT_EQ(ChromeWindows::visibleWindows(workspace, windows), std::nullopt);
  EXPECT_TRUE(ChromeWindows::hasVisibleWindows(workspace, windows));
  windows.list.reset();
  EXPECT_EQ(ChromeWindows::onScreenCount(workspace, windows), std::nullopt);
  EXPECT_FALSE(ChromeWindows::hasVisibleWindows(workspace, windows));
}

TEST_F(DegradedWatcherTest, ReadsEveryThreeSecondsUntilItIsDropped) {
  startChrome();
  windows.list = {{chrome, 800, 0}};
  auto watcher = makeWatcher();
  watcher->start();
  watcher->start();
  EXPECT_THAT(log.lines(), ElementsAre("stub default: helper unavailable; falling back to window-count polling (screen "
                                       "recording: granted)"));
  scheduler.advance(3s - 1ns);
  EXPECT_THAT(readings, IsEmpty());
  scheduler.advance(1ns);
  windows.list->clear();
  windows.isComplete = false;
  scheduler.advance(3s);
  windows.list.reset();
  windows.isComplete = true;
  scheduler.advance(3s);
  workspace.running.clear();
  scheduler.advance(3s);
  EXPECT_THAT(readings,
              ElementsAre(Reading{1, CountConfidence::certain, true}, Reading{0, CountConfidence::unclassified, true},
                          Reading{0, CountConfidence::certain, true}, Reading{0, CountConfidence::certain, false}));
  watcher.reset();
  scheduler.advance(60s);
  EXPECT_EQ(readings.size(), 4u);

  // What a reading leads to may be the end of the watcher.
  watcher =
      std::make_unique<DegradedWatcher>(workspace, windows, scheduler, [&watcher](const Reading&) { watcher.reset(); });
  watcher->start();
  scheduler.advance(10s);
  EXPECT_FALSE(watcher);
  EXPECT_EQ(scheduler.timerCount(), 0u);
}

}  // namespace
}  // namespace corvana
