#include "stub/stub_app_delegate.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "core/stub/warn_throttle.h"
#include "tests/stub/proxy_app_world.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Action = Response::Action;

constexpr CountConfidence unclassified = CountConfidence::unclassified;

class StubAppDelegateTest : public ProxyAppWorld {
 protected:
  /// The app with a helper that sees windows, Chrome running, and the first activation answered.
  void launchWithHelper() {
    link.hasHelper = true;
    startChrome();
    launch();
    link.answer(Action::raised);
    permission(true);
    link.sent.clear();
    workspace.launches.clear();
    application.activated.clear();
  }
  void launchWithGroup() {
    config.tabGroupName = "Research";
    launchWithHelper();
  }
};

TEST_F(StubAppDelegateTest, ItsLivenessFollowsTheTable) {
  struct Row {
    const char* what;
    std::function<void()> story;
    Liveness liveness;
    bool hasEnded;
  };
  using enum Liveness;
  const auto wait = [this](auto duration) { scheduler.advance(duration); };
  const std::vector<Row> rows{
      {"a window", [&] { count(1); }, watching, false},
      {"the grace ends, Chrome runs", [&] { wait(30s); }, watching, false},
      {"the grace is not over", [&] { endChrome(), wait(30s - 1ns); }, starting, false},
      {"the grace ends without Chrome", [&] { endChrome(), wait(30s); }, starting, true},
      {"a window ends the grace", [&] { count(1), endChrome(), wait(60s); }, watching, false},
      {"zero while starting", [&] { count(0), wait(29s), count(0); }, starting, false},
      {"unconfirmed zero while starting", [&] { count(0, unclassified), wait(29s); }, starting, false},
      {"zero", [&] { count(1), count(0); }, draining, false},
      {"zero after the grace", [&] { wait(30s), count(0), wait(2s); }, draining, true},
      {"not yet drained", [&] { count(1), count(0), wait(2s - 1ns); }, draining, false},
      {"drained", [&] { count(1), count(0), wait(2s); }, draining, true},
      {"a window while draining", [&] { count(1), count(0), wait(1s), count(2), wait(60s); }, watching, false},
      {"the first zero wins", [&] { count(1), count(0), wait(1s), count(0), wait(1s); }, draining, true},
      {"a second drain takes its full time", [&] { count(1), count(0), wait(1s), count(1), count(0), wait(2s - 1ns); },
       draining, false},
      {"unconfirmed zero", [&] { count(1), count(0, unclassified), wait(119s), count(0, unclassified), wait(60s); },
       watching, false},
      {"unconfirmed zero for two minutes",
       [&] { count(1), count(0, unclassified), wait(120s), count(0, unclassified); }, draining, false},
      {"and drained", [&] { count(1), count(0, unclassified), wait(120s), count(0, unclassified), wait(2s); }, draining,
       true},
      {"a window starts the two minutes anew",
       [&] {
         count(1), count(0, unclassified), wait(119s), count(1), count(0, unclassified), wait(119s),
             count(0, unclassified);
       },
       watching, false},
      {"a confirmed zero does, too",
       [&] {
         count(0, unclassified), wait(29s), count(0), wait(1s), count(0, unclassified), wait(119s);
         count(0, unclassified);
       },
       watching, false},
      {"two minutes are not the clock's",
       [&] { count(1), count(0, unclassified), scheduler.setDate(scheduler.date() + 24h), count(0, unclassified); },
       watching, false},
      {"nor those of a sleeping machine's past", [&] { count(1), scheduler.jump(24h), count(0, unclassified); },
       watching, false},
      {"they count from the start, when nobody had a window",
       [&] { count(0, unclassified), wait(30s), count(0, unclassified), wait(90s), count(0, unclassified); }, draining,
       false},
  };
  for (const Row& row : rows) {
    application.hasEnded = link.isShutDown = false;
    launchWithHelper();
    row.story();
    EXPECT_EQ(delegate->liveness(), row.liveness) << row.what;
    EXPECT_EQ(application.hasEnded, row.hasEnded) << row.what;
    EXPECT_EQ(link.isShutDown, row.hasEnded) << row.what;
    delegate.reset();
    EXPECT_EQ(scheduler.timerCount(), 0u) << row.what;
  }
  for (const char* line :
       {"default: no windows appeared within the launch grace period; quitting",
        "info: last window for this profile closed; quitting", "info: terminating (selfQuit=true, liveness=draining)",
        "default: no windows seen for 120s and nothing can confirm it; quitting on the balance of "
        "evidence"}) {
    EXPECT_THAT(log.lines(), Contains("stub " + std::string(line)));
  }
}

TEST_F(StubAppDelegateTest, OnlyEventsOfItsOwnWindowsCount) {
  const auto isCounted = [this](std::optional<std::string> profile, std::optional<std::string> group) {
    link.onEvent({.event = Event::Kind::windows,
                  .profileDirectory = std::move(profile),
                  .tabGroup = std::move(group),
                  .count = 1,
                  .confidence = CountConfidence::certain});
    return delegate->liveness() == Liveness::watching;
  };
  launchWithHelper();
  EXPECT_FALSE(isCounted("Default", std::nullopt));
  EXPECT_FALSE(isCounted("Profile 7", "Research"));
  EXPECT_FALSE(isCounted(std::nullopt, std::nullopt));
  EXPECT_TRUE(isCounted("Profile 7", std::nullopt));
  launchWithGroup();
  EXPECT_FALSE(isCounted("Profile 7", std::nullopt));
  EXPECT_FALSE(isCounted("Profile 7", "Research 2"));
  EXPECT_TRUE(isCounted("Profile 7", "Research"));
  // What is missing is a zero that nothing confirms.
  link.onEvent({.event = Event::Kind::windows, .profileDirectory = "Profile 7", .tabGroup = "Research"});
  EXPECT_EQ(delegate->liveness(), Liveness::watching);
  scheduler.advance(120s);
  link.onEvent({.event = Event::Kind::windows, .profileDirectory = "Profile 7", .tabGroup = "Research"});
  EXPECT_EQ(delegate->liveness(), Liveness::draining);
}

TEST_F(StubAppDelegateTest, WithoutHelperAndChromeItOpensChromeAndCountsItself) {
  launch();
  EXPECT_THAT(launched(), ElementsAre("window"));
  EXPECT_THAT(application.menu, ElementsAre(MenuItem{"About W", MenuItem::Action::about}, MenuItem{},
                                            MenuItem{"Open New Window", MenuItem::Action::openNewWindow, 'n'},
                                            MenuItem{"Bring to Front", MenuItem::Action::bringToFront, '/'}, MenuItem{},
                                            MenuItem{"Hide W", MenuItem::Action::hide, 'h'}, MenuItem{},
                                            MenuItem{"Quit W", MenuItem::Action::terminate, 'q'}));
  startChrome();
  windows.isComplete = true;
  windows.list = {{chrome, 800, 0}};
  scheduler.advance(3s);
  EXPECT_EQ(delegate->liveness(), Liveness::watching);
  endChrome();
  scheduler.advance(3s + 2s - 1ns);
  EXPECT_FALSE(application.hasEnded);
  scheduler.advance(1ns);
  EXPECT_TRUE(application.hasEnded);
}

TEST_F(StubAppDelegateTest, TheHelperIsWaitedForWhenChromeRuns) {
  startChrome();
  launch();
  scheduler.advance(2s);
  delegate->applicationShouldHandleReopen();  // does not prolong the wait
  scheduler.advance(2s - 1ns);
  EXPECT_THAT(launched(), IsEmpty());
  scheduler.advance(1ns);
  EXPECT_THAT(launched(), ElementsAre("window"));
  EXPECT_THAT(log.lines(), Contains("stub default: helper did not answer in time; opening a window without it"));

  delegate->bringToFront();
  scheduler.advance(4s - 1ns);
  link.establish();
  EXPECT_THAT(sent(), ElementsAre("hello", "activate"));
  scheduler.advance(60s);  // it times out, and a window is opened
  EXPECT_THAT(launched(), ElementsAre("window"));
  EXPECT_THAT(sent(), ElementsAre("noteLaunch"));

  link.drop();
  link.establish();
  EXPECT_THAT(sent(), ElementsAre("hello")) << "a reconnection is no activation";
}

TEST_F(StubAppDelegateTest, TheHelperIsToldWhoConnects) {
  config = {.profileDirectory = "Profile 7",
            .profileName = "Work",
            .tabGroupName = "Research",
            .ownWindow = false,
            .includeIncognito = false,
            .countAppWindows = true};
  link.hasHelper = true;
  launch();
  EXPECT_EQ(link.sent.front(), (Request{.id = 0,
                                        .op = Request::Op::hello,
                                        .profileDirectory = "Profile 7",
                                        .profileName = "Work",
                                        .tabGroup = "Research",
                                        .bundleID = "app.corvana.0a1b",
                                        .pid = ::getpid(),
                                        .includeIncognito = false,
                                        .countAppWindows = true,
                                        .ownWindow = false,
                                        .stubRevision = 7}));
}

TEST_F(StubAppDelegateTest, AnActivationDoesAsTheHelperAnswers) {
  struct Row {
    const char* what;
    std::function<void()> answer;
    bool bringsChromeForward;
    std::vector<std::string> launched;
  };
  launchWithHelper();
  for (const Row& row :
       std::vector<Row>{{"raised", [&] { link.answer(Action::raised); }, true, {}},
                        {"opened", [&] { link.answer(Action::openedGroup); }, true, {}},
                        {"not found", [&] { link.answer(Action::groupNotFound); }, true, {}},
                        {"nothing", [&] { link.answer(Action::nothingToRaise); }, false, {"window"}},
                        {"acknowledged", [&] { link.answer(Action::acknowledged); }, false, {"window"}},
                        {"an error", [&] { link.answer(Response{.error = "no"}); }, false, {"window"}},
                        {"silence",
                         [&] {
                           scheduler.advance(5s - 1ns);
                           EXPECT_EQ(link.waitingCount(), 1u);
                           scheduler.advance(1ns);
                         },
                         false,
                         {"window"}},
                        {"the helper ends", [&] { link.drop(), link.establish(); }, false, {"window"}}}) {
    delegate->applicationShouldHandleReopen();
    row.answer();
    EXPECT_EQ(!std::exchange(application.activated, {}).empty(), row.bringsChromeForward) << row.what;
    EXPECT_EQ(launched(), row.launched) << row.what;
    EXPECT_EQ(link.waitingCount(), 0u) << row.what;
  }
  EXPECT_THAT(notifications.posted, IsEmpty()) << "there is no group that could be missing";

  // When Chrome does not come forward it is opened; when it has ended meanwhile nothing happens.
  application.canHandActivationOver = false;
  delegate->bringToFront();
  link.answer(Action::raised);
  EXPECT_EQ(workspace.launches.back().configuration, (OpenConfiguration{.activates = true}));
  EXPECT_THAT(launched(), ElementsAre("activated"));
  endChrome();
  delegate->bringToFront();
  link.answer(Action::raised);
  EXPECT_THAT(launched(), IsEmpty());

  // A new window is opened whatever there is.
  startChrome();
  sent();
  delegate->openNewWindow();
  EXPECT_THAT(sent(), ElementsAre("noteLaunch"));
  EXPECT_THAT(launched(), ElementsAre("window"));
}

TEST_F(StubAppDelegateTest, URLsAreOpenedOnceAndOnlyWhenTheyAreURLs) {
  startChrome();
  make();
  delegate->applicationOpen({"https://a/", "--no-sandbox", "https://b/"});
  EXPECT_THAT(launched(), IsEmpty());
  delegate->applicationDidFinishLaunching();
  EXPECT_THAT(launched(), ElementsAre("https://a/ https://b/"));
  EXPECT_THAT(log.lines(), Contains("stub error: was given something that is no URL with a scheme: --no-sandbox"));
  link.establish();
  delegate->applicationOpen({"https://c/"});
  delegate->applicationOpen({"example.org"});
  delegate->applicationOpen({});
  EXPECT_THAT(launched(), ElementsAre("https://c/"));
  EXPECT_THAT(sent(), ElementsAre("hello", "noteLaunch", "activate", "activate")) << "without a URL it is a click";
}

TEST_F(StubAppDelegateTest, StartedForANewWindowItOpensNoOther) {
  link.hasHelper = true;
  startChrome();
  make();
  delegate->applicationOpen({"https://a/"});
  delegate->openNewWindow();
  delegate->applicationDidFinishLaunching();
  EXPECT_THAT(launched(), ElementsAre("window", "https://a/"));
  EXPECT_THAT(sent(), ElementsAre("hello", "noteLaunch", "noteLaunch"));
}

TEST_F(StubAppDelegateTest, ItCountsWindowsWhileTheHelperCannot) {
  const auto isPolling = [this] {
    const auto before = log.lines().size();
    link.drop();  // would start a watcher, and say so, if there were none
    link.establish();
    return log.lines().size() == before;
  };
  launchWithHelper();
  EXPECT_EQ(scheduler.timerCount(), 1u) << "the grace";
  link.drop();
  link.establish();
  EXPECT_TRUE(isPolling()) << "a connection alone does not stop it";
  permission(std::nullopt);
  EXPECT_EQ(scheduler.timerCount(), 1u);
  permission(false);
  EXPECT_TRUE(isPolling());
  permission(true);
  EXPECT_EQ(scheduler.timerCount(), 1u);
  for (const auto kind : {Event::Kind::shuttingDown, Event::Kind::routingHistoryChanged, Event::Kind::unknown}) {
    link.onEvent({.event = kind});
  }
  EXPECT_EQ(scheduler.timerCount(), 1u);
  EXPECT_THAT(log.lines(), Contains("stub info: helper is shutting down"));
}

TEST_F(StubAppDelegateTest, LinksGoThroughTheGroupsWindow) {
  launchWithGroup();
  delegate->applicationOpen({"https://a/", "https://b/"});
  EXPECT_THAT(sent(), ElementsAre("activate"));
  scheduler.advance(12s - 1ns);
  link.answer(Action::openedGroup);
  EXPECT_EQ(application.activated.size(), 1u);
  delegate->applicationOpen({"https://c/"});
  link.answer(Action::raised);
  scheduler.advance(200ms - 1ns);
  EXPECT_THAT(launched(), IsEmpty());
  scheduler.advance(1ns);
  EXPECT_THAT(launched(), ElementsAre("https://a/ https://b/", "https://c/"));

  // Without the group they open in the profile; with nothing to raise they wait, and are never lost.
  sent();
  delegate->applicationOpen({"https://d/"});
  link.answer(Action::groupNotFound);
  delegate->applicationOpen({"https://e/"});
  link.answer(Action::acknowledged);
  delegate->applicationOpen({"https://f/"});
  scheduler.advance(12s);
  EXPECT_THAT(launched(), ElementsAre("https://d/", "https://e/", "https://f/"));
  EXPECT_THAT(sent(), Not(Contains("noteLaunch")));
  EXPECT_EQ(notifications.posted.size(), 1u);
}

TEST_F(StubAppDelegateTest, TheGroupIsTriedForEachSecondForTwentySeconds) {
  launchWithGroup();
  delegate->applicationOpen({"https://a/"});
  link.answer(Action::nothingToRaise);
  EXPECT_THAT(launched(), ElementsAre("window"));
  EXPECT_THAT(sent(), ElementsAre("activate", "noteLaunch"));
  for (int attempt = 1; attempt <= 19; ++attempt) {
    scheduler.advance(1s - 1ns);
    EXPECT_EQ(link.waitingCount(), 0u) << attempt;
    scheduler.advance(1ns);
    ASSERT_EQ(link.waitingCount(), 1u) << attempt;
    if (attempt == 10) {  // joins the links that wait; a new window is offered, the loop is not prolonged
      delegate->applicationOpen({"https://b/"});
      link.answer(Action::nothingToRaise);
      link.answer(Action::nothingToRaise);
      EXPECT_THAT(launched(), ElementsAre("window"));
      sent();
    } else {
      link.answer(Action::nothingToRaise);
    }
  }
  EXPECT_THAT(launched(), IsEmpty());
  scheduler.advance(1s);  // would be the twentieth
  EXPECT_THAT(launched(), ElementsAre("https://a/ https://b/"));
  EXPECT_EQ(sent().back(), "noteLaunch");
  permission(true);
  EXPECT_EQ(scheduler.timerCount(), 1u) << "only the grace";
}

TEST_F(StubAppDelegateTest, WhatEndsTheTriesForTheGroup) {
  struct Row {
    const char* what;
    std::function<void()> story;
    std::vector<std::string> launched;
    std::size_t notices = 0;
  };
  const auto wait = [this](auto duration) { scheduler.advance(duration); };
  const std::vector<Row> rows{
      {"raised", [&] { wait(1s), link.answer(Action::raised), wait(200ms); }, {"https://a/"}},
      {"raised, too early to tell", [&] { wait(1s), link.answer(Action::raised), wait(199ms); }, {}},
      {"not found", [&] { wait(1s), link.answer(Action::groupNotFound); }, {"https://a/"}, 1},
      {"failed, and goes on", [&] { wait(1s), link.answer(Response{}), wait(1s), link.answer(Response{}); }, {}},
      {"silence: one attempt at a time",
       [&] {
         wait(12s);
         EXPECT_EQ(link.waitingCount(), 1u);
         wait(7s);
       },
       {}},
      {"silence until the end", [&] { wait(20s); }, {"https://a/"}},
      {"no helper: it goes on", [&] { link.drop(), wait(19s), link.establish(); }, {}},
      {"no helper at all", [&] { link.drop(), wait(20s); }, {"https://a/"}},
      {"late answer", [&] { wait(19s), wait(1s), launched(), link.answer(Action::raised), wait(1s); }, {}},
      {"late answer that there is no group",
       [&] { wait(19s), wait(1s), launched(), link.answer(Action::groupNotFound), wait(1s); },
       {}},
      {"later links are tried for, whatever was on its way",
       [&] {
         wait(20s), launched(), link.answer(Response{});
         delegate->applicationOpen({"https://b/"});
         link.answer(Action::nothingToRaise), wait(1s), link.answer(Action::raised), wait(200ms);
       },
       {"window", "https://b/"}},
      {"a click that raises", [&] { delegate->bringToFront(), link.answer(Action::raised), wait(1s); }, {"https://a/"}},
      {"a click that finds no group",
       [&] { delegate->bringToFront(), link.answer(Action::groupNotFound), wait(1s); },
       {"https://a/"},
       1},
      {"a click begins no others before these have ended",
       [&] {
         delegate->bringToFront(), link.answer(Action::raised);
         delegate->bringToFront(), link.answer(Action::nothingToRaise), wait(1s);
       },
       {"window", "https://a/"}},
      {"the machine slept", [&] { scheduler.jump(21s), wait(0s); }, {"https://a/"}},
      {"the clock was set", [&] { scheduler.setDate(scheduler.date() + 24h), wait(1s); }, {}},
  };
  for (const Row& row : rows) {
    WarnThrottle::reset("group-missing");
    notifications.posted.clear();
    launchWithGroup();
    delegate->applicationOpen({"https://a/"});
    link.answer(Action::nothingToRaise);
    launched();
    row.story();
    EXPECT_EQ(launched(), row.launched) << row.what;
    EXPECT_EQ(notifications.posted.size(), row.notices) << row.what;
    delegate.reset();
    scheduler.advance(60s);  // so that no request waits any more
  }
}

TEST_F(StubAppDelegateTest, AWindowWithoutItsGroupIsJoinedToIt) {
  launchWithGroup();
  delegate->bringToFront();
  scheduler.advance(12s - 1ns);
  EXPECT_EQ(link.waitingCount(), 1u) << "a saved group may take its time to open";
  link.answer(Action::nothingToRaise);
  scheduler.advance(1s + 12s - 1ns);
  EXPECT_THAT(sent(), ElementsAre("activate", "noteLaunch", "activate")) << "and so may another attempt";
  link.answer(Action::groupNotFound);
  scheduler.advance(30s);
  EXPECT_THAT(launched(), ElementsAre("window", "window")) << "what waited is launched, be it nothing";
  EXPECT_EQ(notifications.posted.size(), 1u);
}

TEST_F(StubAppDelegateTest, LinksForAGroupWaitForTheHelper) {
  config.tabGroupName = "Research";
  startChrome();
  make();
  delegate->applicationOpen({"https://a/"});
  delegate->applicationDidFinishLaunching();
  scheduler.advance(3s);
  delegate->applicationOpen({"https://b/"});
  EXPECT_THAT(launched(), IsEmpty());
  link.establish();
  link.answer(Action::raised);
  scheduler.advance(200ms);
  EXPECT_THAT(launched(), ElementsAre("https://a/ https://b/"));

  link.drop();
  delegate->applicationOpen({"https://c/"});
  scheduler.advance(4s);
  EXPECT_THAT(launched(), ElementsAre("https://c/")) << "for four seconds at most";

  // Without Chrome there is nothing to wait for but the group.
  endChrome();
  delegate->applicationOpen({"https://d/"});
  EXPECT_THAT(launched(), ElementsAre("window"));
  startChrome();
  link.establish();
  scheduler.advance(1s);
  link.answer(Action::openedGroup);
  scheduler.advance(1s);
  EXPECT_THAT(launched(), ElementsAre("https://d/"));
}

TEST_F(StubAppDelegateTest, AnAppThatEndsForLackOfWindowsOpensItsLinksFirst) {
  launchWithGroup();
  count(1);
  delegate->applicationOpen({"https://a/"});
  link.answer(Action::nothingToRaise);
  delegate->applicationOpen({"https://b/"});
  count(0);
  launched();
  scheduler.advance(1900ms);
  delegate->applicationOpen({"https://c/"});
  scheduler.advance(100ms);
  EXPECT_TRUE(application.hasEnded);
  EXPECT_THAT(launched(), ElementsAre("https://a/ https://b/ https://c/"));
  EXPECT_EQ(sent().back(), "noteLaunch");
  scheduler.advance(60s);
  EXPECT_THAT(launched(), IsEmpty());
}

TEST_F(StubAppDelegateTest, AnAppThatItsUserQuitsLeavesItsLinks) {
  launchWithGroup();
  delegate->applicationOpen({"https://a/"});
  link.answer(Action::nothingToRaise);
  launched();
  application.quit();
  EXPECT_TRUE(application.hasEnded);
  EXPECT_THAT(launched(), IsEmpty());
}

TEST_F(StubAppDelegateTest, TheHelperKnowsOfALaunchBeforeChromeDoes) {
  launchWithHelper();
  int notes = 0;
  link.onPost = [&](const Request& request) {
    EXPECT_EQ(request.op, Request::Op::noteLaunch);
    EXPECT_EQ(request.profileDirectory, "Profile 7");
    EXPECT_THAT(launched(), IsEmpty());
    ++notes;
  };
  delegate->openNewWindow();
  EXPECT_THAT(launched(), ElementsAre("window"));
  EXPECT_EQ(notes, 1);
}

TEST_F(StubAppDelegateTest, QuittingLeavesChromeAloneUnlessAskedOtherwise) {
  launchWithHelper();
  application.quit();
  EXPECT_TRUE(application.hasEnded);
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(log.lines(), Contains("stub info: terminating (selfQuit=false, liveness=starting)"));
  EXPECT_THAT(log.lines().back(), HasSubstr("terminating")) << "nothing is begun any more";

  config.closeOnQuit = true;
  application.hasEnded = false;
  launchWithHelper();
  link.drop();
  application.quit();
  EXPECT_TRUE(application.hasEnded) << "nobody could close them";

  application.hasEnded = false;
  launchWithHelper();
  count(1);
  count(0);
  scheduler.advance(2s);
  EXPECT_TRUE(application.hasEnded);
  EXPECT_THAT(sent(), IsEmpty()) << "there are none left to close";
}

TEST_F(StubAppDelegateTest, QuittingClosesItsWindowsFirst) {
  struct Row {
    const char* what;
    std::function<void()> story;
    bool hasEnded;
  };
  const auto wait = [this](auto duration) { scheduler.advance(duration); };
  const Response blocked{.ok = true, .blocked = true};
  const std::vector<Row> rows{
      {"closed", [&] { link.answer(Response{.ok = true, .closed = 2, .remaining = 0}); }, true},
      {"a failure", [&] { link.answer(Response{.error = "no"}); }, true},
      {"the helper ends", [&] { link.drop(); }, true},
      {"silence", [&] { wait(8s); }, true},
      {"silence, not yet", [&] { wait(8s - 1ns); }, false},
      {"blocked",
       [&] {
         link.answer(blocked), alerts.dismiss(), wait(9s - 1ns);
         EXPECT_THAT(application.replies, ElementsAre(false));
         wait(1ns);
         EXPECT_THAT(application.replies, ElementsAre(false, true)) << "which answers no question";
       },
       false},
      {"an alert that stays open",
       [&] {
         link.answer(blocked), wait(9s - 1ns);
         EXPECT_THAT(application.replies, IsEmpty());
         wait(1ns);
         EXPECT_THAT(application.replies, ElementsAre(true));
       },
       true},
      {"blocked, then quit again",
       [&] { link.answer(blocked), alerts.dismiss(), wait(1s), application.quit(), link.answer(Response{}); }, true},
      {"the limit of an earlier question, not yet",
       [&] { link.answer(blocked), wait(4s), alerts.dismiss(), application.quit(), wait(5s - 1ns); }, false},
      {"the limit of an earlier question answers a later one",
       [&] { link.answer(blocked), wait(4s), alerts.dismiss(), application.quit(), wait(5s); }, true},
      {"each question has its limit",
       [&] {
         link.answer(blocked), alerts.dismiss(), wait(1s), application.quit(), link.answer(blocked), alerts.dismiss();
         wait(8s);
         EXPECT_THAT(application.replies, ElementsAre(false, false, true));
         wait(1s);
         EXPECT_THAT(application.replies, ElementsAre(false, false, true, true));
       },
       false},
      {"quit twice",
       [&] {
         application.quit();
         EXPECT_EQ(link.waitingCount(), 1u);
       },
       false},
      {"its windows are gone before the answer", [&] { count(1), count(0), wait(2s); }, true},
      {"its windows are gone before the alert", [&] { link.answer(blocked), count(1), count(0), wait(2s); }, true},
  };
  config.closeOnQuit = true;
  for (const Row& row : rows) {
    application = {};
    alerts = {};
    launchWithHelper();
    application.quit();
    EXPECT_FALSE(application.hasEnded) << row.what;
    ASSERT_EQ(link.sent.size(), 1u) << row.what;
    EXPECT_EQ(link.sent.front().op, Request::Op::closeWindows) << row.what;
    EXPECT_EQ(link.sent.front().timeout, 6.0) << row.what;
    row.story();
    EXPECT_EQ(application.hasEnded, row.hasEnded) << row.what;
    for (const Alert& alert : alerts.shown) {
      EXPECT_EQ(alert,
                (Alert{"Chrome is asking you to confirm before leaving a page.",
                       "W did not quit, so you don't lose anything. Answer Chrome's prompt, then quit again.", "OK"}));
      EXPECT_GE(application.activated.size(), alerts.shown.size()) << row.what;
    }
    application = {};  // the process is gone, whatever still waits
    delegate.reset();
    scheduler.advance(60s);
  }
}

TEST_F(StubAppDelegateTest, AReplyComesWithinNineSecondsWhateverHappens) {
  // A link that never answers, not even by its own time-out.
  struct SilentLink final : HelperConnection {
    State state() const override { return State::connected; }
    void connect(Request) override {}
    void request(Request::Op, std::chrono::nanoseconds, const Configure&, Completion completion) override {
      kept.push_back(std::move(completion));
    }
    void post(Request::Op, const Configure&) override {}
    void shutdown() override {}
    std::vector<Completion> kept;
  } silent;
  config.closeOnQuit = true;
  make();
  delegate = std::make_unique<StubAppDelegate>(
      Bundle{home.path() / "W.app"},
      StubAppDelegate::System{scheduler, scheduler, workspace, windows, application, notifications, alerts, silent});
  application.delegate = delegate.get();
  delegate->applicationDidFinishLaunching();
  application.quit();
  scheduler.advance(9s - 1ns);
  EXPECT_FALSE(application.hasEnded);
  scheduler.advance(1ns);
  EXPECT_TRUE(application.hasEnded);

  // An answer that comes when the delegate is gone lets the application end.
  application.isQuestionPending = true;
  application.hasEnded = false;
  const auto late = silent.kept.back();
  struct Gone final : ApplicationDelegate {
    void applicationWillFinishLaunching() override {}
    void applicationDidFinishLaunching() override {}
    void applicationOpen(const std::vector<std::string>&) override {}
    void applicationShouldHandleReopen() override {}
    void openNewWindow() override {}
    void bringToFront() override {}
    TerminateReply applicationShouldTerminate() override { return TerminateReply::terminateNow; }
    void applicationWillTerminate() override {}
  } gone;
  application.delegate = &gone;
  delegate.reset();
  late(Response{.blocked = true});
  EXPECT_TRUE(application.hasEnded);
}

TEST_F(StubAppDelegateTest, NoticesSayWhatIsWrongButDoNotNag) {
  launchWithHelper();
  link.onEvent({.event = Event::Kind::stubOutdated, .improvements = std::vector<std::string>{"One.", "Two."}});
  link.onEvent({.event = Event::Kind::stubOutdated});
  permission(false);
  scheduler.advance(1h - 1s);
  permission(false);
  EXPECT_THAT(
      notifications.posted,
      ElementsAre(std::pair("W can be updated", "One. Two. Open Corvana and press Update."),
                  std::pair("W can be updated",
                            "This app was built before Corvana recorded what its apps include. Rebuilding brings it up "
                            "to date. Open Corvana and press Update."),
                  std::pair("W can't see Chrome's windows",
                            "Grant Accessibility to Corvana Helper in System Settings > Privacy & Security to raise "
                            "existing windows instead of opening new ones.")));
  notifications.posted.clear();
  scheduler.advance(1s);
  launchWithGroup();
  permission(false);
  const auto missGroup = [this] { delegate->bringToFront(), link.answer(Action::groupNotFound); };
  missGroup();
  scheduler.advance(300s - 1s);
  missGroup();
  EXPECT_THAT(
      notifications.posted,
      ElementsAre(std::pair("W can't see Chrome's windows",
                            "Grant Accessibility to Corvana Helper in System Settings > Privacy & Security. Until then "
                            "this app can only open Work, not its “Research” tab group."),
                  std::pair("“Research” isn't open",
                            "W opened Work instead. Chrome no longer offers a tab group called “Research” — it may "
                            "have been renamed, or closed without having been saved.")));
  scheduler.advance(1s);
  missGroup();
  EXPECT_EQ(notifications.posted.size(), 3u);

  notifications.tap();
  EXPECT_THAT(log.lines().back(),
              HasSubstr("default: notification tapped, but Corvana isn't installed anywhere findable"));
  workspace.installed.emplace("app.corvana.main", "/Corvana.app");
  notifications.tap();
  EXPECT_EQ(workspace.launches.back().file, "/Corvana.app");
  EXPECT_TRUE(workspace.launches.back().configuration.activates);
}

TEST_F(StubAppDelegateTest, WithoutAUsableConfigurationItStandsForTheDefaultProfile) {
  home.write("Damaged.app/Contents/Info.plist", "damaged");
  home.write("Wrong.app/Contents/Resources/config.json", "{}");
  for (const char* bundle : {"Missing.app", "Damaged.app", "Wrong.app"}) {
    const std::size_t logged = log.lines().size();
    const auto made = makeFrom(bundle);
    EXPECT_EQ(made->config(), (StubConfig{.profileDirectory = "Default", .profileName = "Default"})) << bundle;
    EXPECT_EQ(made->displayName(), "Corvana App") << bundle;
    EXPECT_EQ(log.lines().size(), logged + 1) << bundle;
    EXPECT_THAT(log.lines().back(), HasSubstr("using the profile Default")) << bundle;
  }
}

}  // namespace
}  // namespace corvana
