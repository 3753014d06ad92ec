// Launches in order, against programs whose time a test moves. Two queues in one process stand for two processes: the
// kernel's locks belong to open files.
#include "platform/desktop/launch_queue_linux.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <set>

#include "tests/fakes/fake_scheduler.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Launch = std::vector<std::string>;

/// The browser and its programs, which last until a test ends them.
class FakePrograms final : public LaunchQueue::Programs {
 public:
  explicit FakePrograms(fakes::FakeScheduler& time) : time_(time) {}

  BrowserState stateOf(const BrowserInstallation&) override { return state; }
  pid_t start(const BrowserInstallation&, const Launch& arguments, Workspace::OpenCompletion completion) override {
    if (fails) {
      time_.post([completion = std::move(completion)] { completion(OpenError{"fails"}); });
      return 0;
    }
    launches.push_back(arguments);
    time_.post([completion = std::move(completion)] { completion(std::nullopt); });
    running.insert(++last);
    return last;
  }
  bool hasEnded(pid_t process) override { return !running.contains(process); }
  void pause(std::chrono::milliseconds duration) override { time_.jump(duration); }
  void notice(const std::string& text) override { notices.push_back(text); }

  /// What was launched since the last call.
  std::vector<Launch> takeLaunches() { return std::exchange(launches, {}); }

  BrowserState state = BrowserState::absent;
  bool fails = false;
  std::vector<Launch> launches;
  std::set<pid_t> running;
  std::vector<std::string> notices;
  pid_t last = 0;

 private:
  fakes::FakeScheduler& time_;
};

class LaunchQueueTest : public testing::Test {
 protected:
  LaunchQueueTest() {
    home.environment.set("XDG_RUNTIME_DIR", home.path().string());
    browser.entry.name = "Chrome";
    browser.userDataDirectory = home.path() / "data";
  }

  void launch(LaunchQueue& launches, Launch arguments, bool createsNew = true) {
    launches.launch(
        browser, {.arguments = std::move(arguments), .createsNewApplicationInstance = createsNew},
        [this](const std::optional<OpenError>& error) { reports.push_back(error ? error->description : ""); });
  }
  /// The programs that only hand over, or failed to start, end.
  void end(LaunchQueue& launches) {
    programs.running.clear();
    launches.programEnded();
  }
  std::filesystem::path lockFile(const std::string& suffix) {
    for (const auto& entry : std::filesystem::directory_iterator(home.path())) {
      if (entry.path().string().ends_with(suffix)) return entry.path();
    }
    return {};
  }

  support::TemporaryHome home;
  fakes::FakeScheduler time;
  FakePrograms programs{time};
  BrowserInstallation browser;
  std::vector<std::string> reports;
  LaunchQueue queue{time, time, programs};
  LaunchQueue other{time, time, programs};
};

TEST_F(LaunchQueueTest, TheFirstStartIsAloneAndWhatWaitsJoinsInOrder) {
  launch(queue, {"--p=1", "a"});
  EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"--p=1", "a"})) << "at once";
  for (const Launch& arguments : std::vector<Launch>{{"--p=1", "b"},
                                                     {"--p=2", "c"},
                                                     {"--p=1", "d", "--e"},
                                                     {"--p=1", "--incognito", "secret"},
                                                     {"--p=1"},
                                                     {"--p=1"},
                                                     {"--p=1", "f"}}) {
    launch(queue, arguments);
  }
  launch(other, {"--p=3", "g"});
  programs.state = BrowserState::busy;
  time.advance(5s);
  EXPECT_THAT(programs.takeLaunches(), IsEmpty());
  EXPECT_EQ(reports.size(), 1);

  programs.state = BrowserState::accepting;
  std::vector<Launch> all;
  while (programs.launches.size() > 0 || all.size() < 7) {
    time.advance(50ms);
    EXPECT_LE(programs.launches.size(), 2) << "few at a time";
    const auto launches = programs.takeLaunches();
    ASSERT_FALSE(launches.empty());
    all.insert(all.end(), launches.begin(), launches.end());
    programs.running.clear();
  }
  EXPECT_THAT(all, testing::UnorderedElementsAre(Launch{"--p=1", "b", "d", "--e"}, Launch{"--p=2", "c"},
                                                 Launch{"--p=1", "--incognito", "secret"}, Launch{"--p=1"},
                                                 Launch{"--p=1"}, Launch{"--p=1", "f"}, Launch{"--p=3", "g"}));
  std::erase_if(all,
                [](const Launch& one) { return one[0] != "--p=1" || (one.size() > 1 && one[1] == "--incognito"); });
  EXPECT_THAT(all,
              ElementsAre(Launch{"--p=1", "b", "d", "--e"}, Launch{"--p=1"}, Launch{"--p=1"}, Launch{"--p=1", "f"}));
  EXPECT_THAT(reports, ElementsAre("", "", "", "", "", "", "", "", ""));
  time.advance(1s);
  EXPECT_EQ(time.timerCount(), 0) << "an idle app costs nothing";
}

TEST_F(LaunchQueueTest, ProfilesTakeTurnsAndKeepTheirOrder) {
  programs.state = BrowserState::accepting;
  const auto large = [](char c) { return std::string(LaunchQueue::maximumBytes - 100, c); };
  for (const char c : {'a', 'b', 'c'}) launch(queue, {"--p=1", large(c)});
  for (const char c : {'x', 'y'}) launch(queue, {"--p=2", large(c)});
  launch(queue, {"--p=3", "z"});
  std::string order;
  for (int i = 0; i < 4; ++i) {
    for (const Launch& one : programs.takeLaunches()) order += one[1][0];
    end(queue);
  }
  EXPECT_EQ(order, "axbyzc") << "a profile's next launch comes after its last has ended, and after the others'";
}

TEST_F(LaunchQueueTest, SplitsWhatIsMoreThanOneLaunchTakes) {
  programs.state = BrowserState::accepting;
  Launch links{"--p=1"};
  for (int i = 0; i < 100; ++i) links.push_back(std::to_string(i) + std::string(1'000, 'x'));
  links.insert(links.begin() + 50, "long" + std::string(60'000, 'x'));
  launch(queue, links);
  links.erase(links.begin() + 50);
  Launch opened{"--p=1"};
  while (!programs.launches.empty()) {
    for (const Launch& one : programs.takeLaunches()) {
      std::size_t bytes = 0;
      for (const std::string& argument : one) bytes += argument.size() + 1;
      EXPECT_LE(bytes, 28'672);
      opened.insert(opened.end(), one.begin() + 1, one.end());
    }
    time.runPosted();
    end(queue);
  }
  EXPECT_EQ(opened, links);
  time.runPosted();
  ASSERT_EQ(reports.size(), 1) << "once for all parts";
  EXPECT_THAT(reports[0], HasSubstr("cannot be handed so long a link: longxxx"));
  EXPECT_THAT(reports[0], HasSubstr("... (60004 bytes)"));

  // The browser starts with one that it could not be handed, and with nothing else.
  programs.state = BrowserState::absent;
  launch(queue, {"--p=1", "long" + std::string(60'000, 'x'), "short"});
  ASSERT_EQ(programs.launches.size(), 1);
  EXPECT_EQ(programs.launches[0].size(), 2);
}

TEST_F(LaunchQueueTest, NamesEveryArgumentBeyondTheKernelsLimit) {
  const std::string fits(131'071, 'f');
  std::vector<std::string> arguments{"a", std::string(99, 'x') + "é" + std::string(131'000, 'y'), fits, "b"};
  const auto error = LaunchQueue::takeOutTooLong(arguments);
  EXPECT_THAT(arguments, ElementsAre("a", fits, "b"));
  ASSERT_TRUE(error);
  EXPECT_THAT(error->description, HasSubstr(std::string(99, 'x') + "... (131101 bytes)")) << "no half characters";
  EXPECT_FALSE(LaunchQueue::takeOutTooLong(arguments));
}

TEST_F(LaunchQueueTest, NothingWaitsForEver) {
  struct Row {
    const char* name;
    BrowserState state;
    std::vector<std::string> lockedByAStoppedProcess;
    bool isHeldUp;
  };
  constexpr const char* launchedAnyway = "what keeps Chrome from being launched does not end; launching it anyway";
  for (const Row& row : {Row{"a browser that never accepts", BrowserState::busy, {}, true},
                         Row{"a start that does not end", BrowserState::absent, {".start"}, true},
                         Row{"one that hands over", BrowserState::accepting, {".forward-1"}, false},
                         Row{"a start, though the browser runs", BrowserState::accepting, {".start"}, false},
                         Row{"all that hand over", BrowserState::accepting, {".forward-1", ".forward-2"}, true}}) {
    programs.notices.clear();
    programs.state = BrowserState::accepting;
    launch(queue, {"x"}), launch(other, {"x"});  // the lock files are there now
    end(queue), end(other);
    programs.state = BrowserState::absent;
    launch(queue, {"x"});
    end(queue);
    (void)programs.takeLaunches();
    std::vector<UniqueFD> locks;
    for (const std::string& suffix : row.lockedByAStoppedProcess) {
      locks.emplace_back(::open(lockFile(suffix).c_str(), O_RDWR | O_CLOEXEC));
      ASSERT_EQ(::flock(locks.back().get(), LOCK_EX | LOCK_NB), 0) << row.name;
    }
    programs.state = row.state;
    launch(queue, {"--p=1", "a"});
    time.advance(9s);
    EXPECT_EQ(programs.launches.size(), row.isHeldUp ? 0 : 1) << row.name;
    time.advance(2s);
    EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"--p=1", "a"})) << row.name;
    EXPECT_EQ(std::ranges::count(programs.notices, std::string(launchedAnyway)), row.isHeldUp ? 1 : 0) << row.name;
    end(queue);
  }

  // Nor for a program that takes arguments and does not end.
  launch(queue, {"--p=1", "b"}), launch(queue, {"--p=1", "c"});
  time.advance(11s);
  EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"--p=1", "b"}, Launch{"--p=1", "c"}));
  EXPECT_THAT(programs.notices.back(), HasSubstr("Chrome does not take the links that it was handed"));
}

TEST_F(LaunchQueueTest, WhatStandsInForALockFileDoesNoHarm) {
  programs.state = BrowserState::accepting;
  launch(queue, {"x"});
  end(queue);
  programs.state = BrowserState::absent;
  launch(queue, {"x"});
  end(queue);
  const auto lock = lockFile(".start");
  const auto witness = home.write("witness", "untouched");
  for (const char* kind : {"symlink", "fifo", "folder", "dangling"}) {
    std::filesystem::remove(lock);
    if (kind == std::string("symlink")) std::filesystem::create_symlink(witness, lock);
    if (kind == std::string("dangling")) std::filesystem::create_symlink(home.path() / "made", lock);
    if (kind == std::string("fifo")) (void)::mkfifo(lock.c_str(), 0600);
    if (kind == std::string("folder")) std::filesystem::create_directory(lock);
    (void)programs.takeLaunches();
    launch(queue, {"a"}), launch(queue, {"b"});
    EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"a"})) << kind << ": without it, but not out of order";
    end(queue), end(queue);
  }
  EXPECT_EQ(support::readFile(witness), "untouched");
  EXPECT_FALSE(std::filesystem::exists(home.path() / "made"));
}

TEST_F(LaunchQueueTest, AFailedStartHoldsNobodyUp) {
  programs.fails = true;
  launch(queue, {"a"});
  programs.fails = false;
  launch(queue, {"b"}), launch(other, {"c"});
  end(queue);  // the browser was there, and has crashed at once
  time.advance(1s);
  EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"b"}, Launch{"c"}));
  EXPECT_THAT(reports, ElementsAre("fails", "", ""));
}

TEST_F(LaunchQueueTest, OnlyANewInstanceIsStartedWhereOneRunsByThen) {
  launch(queue, {"a"});
  launch(queue, {}, false), launch(queue, {"b"}), launch(queue, {"c"}, false);
  programs.state = BrowserState::accepting;
  time.advance(1s);
  end(queue);
  time.advance(1s);
  EXPECT_THAT(programs.takeLaunches(), ElementsAre(Launch{"a"}, Launch{"b"}));
  EXPECT_EQ(reports.size(), 4);
}

TEST_F(LaunchQueueTest, WhatWaitsAtTheEndIsLaunched) {
  for (const BrowserState state : {BrowserState::accepting, BrowserState::busy}) {
    programs.state = BrowserState::absent;
    launch(queue, {"--p=1", "a"});
    for (int i = 0; i < 50; ++i) launch(queue, {"--p=" + std::to_string(i % 2), std::to_string(i)});
    programs.state = state;
    const auto before = time.now();
    queue.finish();
    EXPECT_EQ(programs.takeLaunches().size(), 3) << "one for each profile";
    EXPECT_GE(time.now() - before, state == BrowserState::busy ? 2s : 0s) << "a browser that starts is given time";
    EXPECT_LE(time.now() - before, 2.1s);
    end(queue);
  }
}

}  // namespace
}  // namespace corvana
