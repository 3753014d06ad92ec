// What proxy apps are told of their windows, and what they are answered.
#include <algorithm>

#include "core/stub/stub_revision.h"
#include "tests/helper/helper_world.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using enum Request::Op;

class RequestsTest : public HelperWorld {
 protected:
  TestClient work;
  TestClient other;
};

TEST_F(RequestsTest, WithoutHelloOnlyQuestionsAreAnswered) {
  open(1, "Work");
  scheduler.runPosted();
  ask(work, request(activate));
  ask(work, request(closeWindows));
  ask(work, request(noteLaunch));
  EXPECT_EQ(told(work), Lines(3, "error: no hello"));
  ask(work, request(status));
  const auto answers = work.received();
  ASSERT_EQ(answers.size(), 1u);
  const auto& status = std::get<Response>(answers[0].content);
  EXPECT_EQ(status.windowCount, 1);
  EXPECT_EQ(status.chromePID, 4711);
  EXPECT_TRUE(chrome.raised.empty() && chrome.closed.empty());
}

TEST_F(RequestsTest, HelloIsFollowedByWhatTheAppHasToKnowInOrder) {
  open(1, "Work");
  open(2, "Home");
  scheduler.runPosted();
  Request outdated = hello("Default");
  outdated.stubRevision = 6;
  ask(work, outdated);
  EXPECT_EQ(told(work), (Lines{"acknowledged", "axPermission yes", "1 certain", "stubOutdated"}));
  ask(work, outdated);  // connected again, on the same day
  EXPECT_EQ(told(work), (Lines{"acknowledged", "axPermission yes", "1 certain"}));

  settings.settings.disablesHelper = true;
  settings.save();
  ask(other, hello("Default"));
  ask(other, request(activate));
  EXPECT_EQ(told(other), (Lines{"acknowledged", "error: the helper is switched off in the settings"}));
}

TEST_F(RequestsTest, CountsFollowTheWindowsOfTheApp) {
  Request withAll = hello("Default");
  withAll.includeIncognito = true;
  withAll.countAppWindows = true;
  ask(work, withAll);
  ask(other, hello("Default"));
  EXPECT_EQ(told(work).back(), "0 certain");
  told(other);

  open(1, "Work");
  open(2, "Home");
  scheduler.runPosted();
  EXPECT_EQ(told(work), Lines{"1 certain"}) << "once, and not before it is known whose the windows are";
  open(3, "Work").window.isAppWindow = true;
  auto& secret = open(4, "");
  secret.reading = BrowserWindowReading{.name = "Page - Chromium (Incognito)", .title = "Page - Chromium"};
  secret.window.launchMark = "corvana:app.corvana.Default:1-1_TIME5";
  chrome.changed();
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "3 certain");
  EXPECT_EQ(told(other), Lines{"1 certain"}) << "neither kind counts for it";
  shut(1);
  shut(3);
  shut(4);
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "0 certain");
  open(5, "Home");
  scheduler.advance(1min);
  EXPECT_EQ(told(work), Lines{}) << "nothing has changed for it";
}

TEST_F(RequestsTest, AZeroIsCertainOnlyWhenNothingCanBeTheirs) {
  struct Row {
    const char* what;
    std::function<void()> happens;
    const char* told;
    std::chrono::seconds until;  // when it is certain; 0 for never
  };
  const Row rows[] = {
      {"a window that does not say whose it is", [this] { open(9, "").reading.reset(); }, "0 unclassified", 0s},
      {"one of a profile that Chrome's file does not have yet", [this] { open(9, "New"); }, "0 unclassified", 0s},
      {"a private window that somebody opened",
       [this] {
         open(9, "").reading = BrowserWindowReading{.name = "P - Chromium (Incognito)", .title = "P - Chromium"};
       },
       "0 unclassified", 0s},
      {"a launch under way", [this] { ask(other, request(noteLaunch)); }, "0 unclassified", 10s},
      {"Chrome gone, maybe to be restarted",
       [this] {
         chrome.currentSight = {.seesWindows = true};
         chrome.fakeWindows.clear();
         chrome.sightHasChanged();
         chrome.changed();
       },
       "0 unclassified", 4s},
      {"Chrome just restarted",
       [this] {
         chrome.currentSight.process = 4712;
         chrome.sightHasChanged();
       },
       "0 unclassified", 3s},
      {"no sight of windows",
       [this] {
         chrome.currentSight.seesWindows = false;
         chrome.sightHasChanged();
       },
       "0 unclassified", 0s},
  };
  for (const Row& row : rows) {
    chrome.currentSight = {.process = 4711, .seesWindows = true, .isTrusted = true};
    chrome.fakeWindows.clear();
    chrome.sightHasChanged();
    open(1, "Work");
    scheduler.advance(20s);
    TestClient client;
    Request withPrivate = hello("Default");
    withPrivate.includeIncognito = true;
    ask(client, withPrivate);
    other = TestClient();
    ask(other, hello("Default"));
    told(client);
    row.happens();
    shut(1);
    scheduler.advance(20ms);
    EXPECT_EQ(told(client).back(), row.told) << row.what;
    if (row.until > 0s) {
      scheduler.advance(row.until - 100ms);
      EXPECT_EQ(told(client), Lines{}) << row.what;
      scheduler.advance(200ms);
      EXPECT_EQ(told(client), Lines{"0 certain"}) << row.what;
    } else {
      scheduler.advance(1h);
      EXPECT_EQ(told(client), Lines{}) << row.what;
    }
    clients.remove(client.connection);
    clients.remove(other.connection);
  }
}

TEST_F(RequestsTest, ANewProfileIsKnownWhenChromeHasWrittenItsName) {
  ask(work, hello("Profile 2"));
  told(work);
  open(1, "New");
  scheduler.advance(8s);
  EXPECT_EQ(told(work), Lines{"0 unclassified"});
  writeProfiles({{"Default", "Work"}, {"Profile 1", "Home"}, {"Profile 2", "New"}});
  scheduler.advance(1s);
  EXPECT_EQ(told(work), Lines{"1 certain"});
  home.write(localState, R"({"profile":{"info_cache":{"A":{"name":"New"}},"profiles_order":["A","A"]}})");
  open(2, "New");
  scheduler.advance(1s);
  EXPECT_EQ(told(work), Lines{"2 certain"}) << "the last good list is kept";
  EXPECT_NE(profiles.problem().find("Duplicate values for key: 'A'"), std::string::npos);
}

TEST_F(RequestsTest, NothingWakesTheHelperWhileNothingChanges) {
  ask(work, hello("Default"));
  open(1, "Work");
  open(2, "").reading.reset();
  scheduler.advance(1min);
  EXPECT_EQ(scheduler.timerCount(), 0u);
}

TEST_F(RequestsTest, ActivatingRaisesTheWindowsInTheirOrder) {
  ask(work, hello("Default"));
  ask(work, request(activate));
  EXPECT_EQ(told(work).back(), "nothingToRaise");
  open(1, "Work");
  open(2, "Home");
  open(3, "Work").window.isMinimized = true;
  open(4, "Work");
  scheduler.runPosted();
  told(work);
  ask(work, request(activate));
  EXPECT_EQ(chrome.raised, (std::vector<std::vector<BrowserWindows::Window>>{{1, 4}}));
  EXPECT_EQ(told(work), Lines{"raised"});
  shut(1);
  shut(4);
  ask(work, request(activate));
  EXPECT_EQ(chrome.raised.back(), std::vector<BrowserWindows::Window>{3}) << "the last one, when all are minimised";
  EXPECT_FALSE(chrome.find(3)->window.isMinimized);
  told(work);
  chrome.refusesToRaise = true;
  ask(work, request(activate));
  EXPECT_EQ(told(work), Lines{"error: the windows could not be brought forward"});
  chrome.isStopped = true;
  const std::size_t before = chrome.raised.size();
  ask(work, request(activate));
  ask(work, request(activate));
  EXPECT_EQ(told(work), Lines{});
  EXPECT_EQ(chrome.raised.size(), before + 1) << "one after the other";
  scheduler.advance(4500ms);
  EXPECT_EQ(told(work), Lines{"error: the windows did not come forward in time"});
  scheduler.advance(4500ms);
  EXPECT_EQ(told(work).size(), 1u);
  chrome.goOn();
  scheduler.runPosted();
  EXPECT_EQ(told(work), Lines{});
}

TEST_F(RequestsTest, AWindowThatClosesWhileItIsRaisedIsNoFailure) {
  ask(work, hello("Default"));
  open(1, "Work");
  open(2, "Work");
  scheduler.runPosted();
  told(work);
  chrome.isStopped = true;
  ask(work, request(activate));
  shut(2);
  chrome.goOn();
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "raised");
  EXPECT_EQ(chrome.active, 1u);
}

TEST_F(RequestsTest, ALaunchIsOverWhenItsWindowHasCome) {
  ask(work, hello("Default"));
  ask(work, request(noteLaunch));
  scheduler.advance(1s);
  open(1, "Work");
  scheduler.runPosted();
  shut(1);
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "0 certain");
  open(1, "Work");
  scheduler.runPosted();
  ask(work, request(noteLaunch));  // with a link, which comes to the window that is there
  scheduler.advance(1s);
  chrome.find(1)->window.launchMark = "corvana:app.corvana.Default:2-1_TIME5";
  chrome.changed();
  shut(1);
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "0 certain");
  open(1, "Work");
  scheduler.runPosted();
  ask(work, request(noteLaunch));  // nothing has come of it yet
  shut(1);
  scheduler.runPosted();
  EXPECT_EQ(told(work).back(), "0 unclassified");
}

TEST_F(RequestsTest, ClosingClosesJustTheAppsWindows) {
  ask(work, hello("Default"));
  open(1, "Work");
  open(2, "Home");
  open(3, "Work");
  open(4, "Work").window.isAppWindow = true;
  chrome.changed();
  scheduler.runPosted();
  told(work);
  ask(work, request(closeWindows));
  EXPECT_EQ(chrome.closed, (std::vector<BrowserWindows::Window>{1, 3}));
  const Lines lines = told(work);
  EXPECT_EQ(std::ranges::count(lines, "closed 2, remaining 0"), 1) << testing::PrintToString(lines);
  ask(work, request(closeWindows));
  EXPECT_EQ(told(work), Lines{"closed 0, remaining 0"});
}

TEST_F(RequestsTest, ClosingTellsAPromptFromAHungPage) {
  ask(work, hello("Default"));
  open(1, "Work");
  open(2, "Work").asksBeforeClosing = true;
  scheduler.runPosted();
  told(work);
  ask(work, request(closeWindows));
  scheduler.advance(50ms);
  EXPECT_EQ(told(work).back(), "closed 1, remaining 1, blocked");
  EXPECT_EQ(chrome.raised.back(), std::vector<BrowserWindows::Window>{2}) << "its user has to see the question";

  shut(2);
  open(3, "Work").ignoresClosing = true;
  scheduler.runPosted();
  told(work);
  Request closing = request(closeWindows);
  closing.timeout = 2.5;
  ask(work, closing);
  scheduler.advance(2490ms);
  EXPECT_EQ(told(work), Lines{});
  scheduler.advance(10ms);
  EXPECT_EQ(told(work), Lines{"closed 0, remaining 1"});
}

TEST_F(RequestsTest, ATabGroupIsRaisedOpenedOrNotFound) {
  TestClient group;
  ask(group, hello("Default", "Research"));
  told(group);
  ask(group, request(activate));
  EXPECT_EQ(told(group).back(), "nothingToRaise") << "no window of the profile";

  open(1, "Work").groups = {{.name = "Research 2", .isSaved = true}};
  open(2, "Home").groups = {{.name = "Research", .isSaved = true, .isOpen = true, .isHere = true}};
  scheduler.runPosted();
  EXPECT_TRUE(chrome.watchesGroups);
  ask(group, request(activate));
  EXPECT_EQ(told(group).back(), "nothingToRaise") << "Chrome may not have loaded its groups yet";
  scheduler.advance(3s);
  EXPECT_EQ(told(group).back(), "0 certain");
  ask(group, request(activate));
  EXPECT_EQ(told(group), Lines{"groupNotFound"});

  chrome.find(1)->groups.push_back({.name = "Research", .isSaved = true});
  chrome.onGroupCall = [this](const std::string& what, BrowserWindows::Window id, const std::string& name) {
    if (what == "move") {
      auto& moved = open(3, "Work");
      moved.groups = {{.name = name, .isSaved = true, .isOpen = true, .isHere = true, .isAlone = true}};
      std::erase_if(chrome.find(1)->groups, [&](const auto& each) { return each.name == name; });
      return;
    }
    for (auto& each : chrome.find(id)->groups) {
      if (each.name == name) each.isOpen = each.isHere = what == "open";
    }
  };
  Request again = hello("Default", "Research");
  again.ownWindow = true;
  ask(group, again);
  told(group);
  ask(group, request(activate));
  scheduler.advance(1s);
  const Lines lines = told(group);
  EXPECT_EQ(std::ranges::count(lines, "openedGroup"), 1) << testing::PrintToString(lines);
  EXPECT_EQ(chrome.groupCalls, (Lines{"open Research", "move Research"}));
  EXPECT_EQ(chrome.active, 3u);
  ask(group, request(activate));
  scheduler.advance(1s);
  EXPECT_EQ(told(group).back(), "raised");
  EXPECT_EQ(watch.count({.profileDirectory = "Default", .tabGroup = "Research"}).count, 1);
}

TEST_F(RequestsTest, ClosingATabGroupLeavesTheOtherTabs) {
  TestClient group;
  ask(group, hello("Default", "Research"));
  open(1, "Work").groups = {{.name = "Research", .isSaved = true, .isOpen = true, .isHere = true}};
  open(2, "Work").groups = {{.name = "Other", .isHere = true}};
  scheduler.advance(5s);
  told(group);
  ask(group, request(closeWindows));
  scheduler.runPosted();
  EXPECT_EQ(chrome.groupCalls, Lines{"close Research"});
  EXPECT_EQ(told(group), Lines{"closed 1, remaining 0"});
  chrome.find(1)->groups.front().isAlone = true;
  ask(group, request(closeWindows));
  scheduler.runPosted();
  EXPECT_EQ(chrome.closed, std::vector<BrowserWindows::Window>{1});
}

TEST_F(RequestsTest, PermissionIsToldWhenAStartingChromeHasHadItsTime) {
  ask(work, hello("Default"));
  told(work);
  chrome.currentSight = {.process = 4712, .seesWindows = true, .problem = "restart Chrome"};
  chrome.sightHasChanged();
  scheduler.advance(4900ms);
  Lines lines = told(work);
  EXPECT_EQ(std::ranges::count(lines, "axPermission no"), 0);
  scheduler.advance(100ms);
  EXPECT_EQ(told(work).back(), "axPermission no");
  ask(other, request(status));
  EXPECT_EQ(told(other), Lines{"but restart Chrome"});
  chrome.currentSight.isTrusted = true;
  Request thorough = request(status);
  thorough.deep = true;
  ask(other, thorough);
  EXPECT_EQ(told(work).back(), "axPermission yes") << "as nobody has told that it changed";
}

TEST_F(RequestsTest, TabGroupsAreListedWithoutHello) {
  open(1, "Work").groups = {{.name = "B", .isSaved = true}, {.name = "A", .isOpen = true, .isHere = true}};
  scheduler.runPosted();
  Request list = request(listTabGroups);
  ask(work, list);
  EXPECT_EQ(told(work), Lines{"error: no profile is named"});
  list.profileDirectory = "Default";
  ask(work, list);
  const auto answers = work.received();
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_EQ(
      std::get<Response>(answers[0].content).tabGroups,
      (std::vector<TabGroupInfo>{{.name = "A", .isOpen = true, .windowCount = 1}, {.name = "B", .isSaved = true}}));
}

}  // namespace
}  // namespace corvana
