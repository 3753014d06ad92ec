// Where links go, on a system in memory with the product's own files.
#include "helper/link_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/registry/registry.h"
#include "tests/fakes/fake_application_handlers.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_user_notifications.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* chrome = "com.google.Chrome";
constexpr const char* firefox = "org.mozilla.firefox";
const OpeningSource mail{"org.mail", "Mail"};

class LinkHandlerTest : public testing::Test {
 protected:
  LinkHandlerTest() {
    install(chrome, "Chrome");
    install(firefox, "Firefox");
    RuleSet set;
    set.fallback = RouteTarget::browser(firefox);
    set.localFileTarget = RouteTarget::browser(chrome, true);
    set.rules = {rule("Work", RouteTarget::browser(chrome, true), "private.org"),
                 rule("Gone", RouteTarget::browser("org.gone"), "gone.org"),
                 rule("Ours", RouteTarget::browser("app.corvana.helper"), "ours.org")};
    rules.save(set);
  }

  static LinkRule rule(const char* name, const RouteTarget& target, const char* host) {
    return {.id = UUID::random(), .name = name, .target = target, .conditions = {{.values = {host}}}};
  }
  void install(const std::string& bundleID, const std::string& name) {
    workspace.installed[bundleID] = "/" + bundleID;
    handlers.addBrowser("/" + bundleID, bundleID, name);
  }
  void uninstall(const std::string& bundleID) {
    workspace.installed.erase(bundleID);
    std::erase(handlers.handlers[{Handled::Kind::scheme, "https"}], "/" + bundleID);
  }
  /// Everything that has been asked for is done, and time passes.
  void settle(std::chrono::milliseconds time = 500ms) {
    for (int i = 0; i < 5; ++i) {
      workspace.deliverReports();
      scheduler.advance(time / 5);
    }
  }
  /// "/org.mozilla.firefox https://a/", for each launch since the last call.
  std::vector<std::string> opened() {
    std::vector<std::string> result;
    for (const auto& launch : std::exchange(workspace.launches, {})) {
      std::string text = launch.file.string();
      for (const std::string& argument : launch.configuration.arguments) text += " " + argument;
      EXPECT_TRUE(launch.configuration.createsNewApplicationInstance) << text;
      result.push_back(text);
    }
    return result;
  }
  std::size_t openedLinks() {
    std::size_t count = 0;
    for (const auto& launch : workspace.launches) count += launch.configuration.arguments.size();
    return count;
  }

  support::TemporaryHome home;
  fakes::FakeScheduler scheduler;
  fakes::FakeWorkspace workspace;
  fakes::FakeApplicationHandlers handlers;
  fakes::FakeUserNotifications notifications;
  RuleStore rules;
  RecentLinksStore history;
  int historyChanges = 0;
  LinkHandler handler{{.mainQueue = scheduler,
                       .clock = scheduler,
                       .workspace = workspace,
                       .handlers = handlers,
                       .notifications = notifications,
                       .rules = rules,
                       .history = history},
                      [this] { ++historyChanges; }};
};

TEST_F(LinkHandlerTest, EachLinkGoesWhereTheRulesSayOrToWhatIsNext) {
  struct Row {
    const char* url;
    const char* expected;
    bool wasMissing;
  };
  for (const Row& row :
       {Row{"https://private.org/?q=%20\"x\"", "/com.google.Chrome --incognito https://private.org/?q=%20\"x\"", false},
        Row{"https://other.org/", "/org.mozilla.firefox https://other.org/", false},
        Row{"file:///tmp/a%20b.html", "/com.google.Chrome --incognito file:///tmp/a%20b.html", false},
        Row{"https://gone.org/", "/org.mozilla.firefox https://gone.org/", true},
        Row{"https://ours.org/", "/org.mozilla.firefox https://ours.org/", true}}) {
    handler.open({row.url}, mail);
    EXPECT_THAT(opened(), ElementsAre(row.expected)) << "at once";
    settle();
    EXPECT_EQ(history.links().front().url, row.url);
    EXPECT_EQ(history.links().front().targetWasMissing, row.wasMissing) << row.url;
  }
  EXPECT_EQ(historyChanges, 5);
  EXPECT_EQ(history.links().back().targetName, "Chrome");
  EXPECT_EQ(history.links().back().sourceName, "Mail");
  EXPECT_EQ(history.links().back().ruleName, "Work");
  EXPECT_FALSE(history.links()[3].ruleID);

  uninstall(firefox);
  handler.open({"https://gone.org/"}, {});
  EXPECT_THAT(opened(), ElementsAre("/com.google.Chrome https://gone.org/")) << "the last resort";
  auto set = *rules.current();
  set.rules.clear();
  set.recordsHistory = false;
  rules.save(set);
  handler.open({"https://private.org/"}, {});
  settle();
  EXPECT_THAT(opened(), ElementsAre("/com.google.Chrome https://private.org/")) << "by the rules as they are now";
  EXPECT_THAT(history.links(), SizeIs(5)) << "the last two came when nothing was to be recorded any more";
}

TEST_F(LinkHandlerTest, WhatIsNoLinkIsRefused) {
  handler.open({"--gpu-launcher=x", "/etc/passwd", "", "https://a/", "x"}, {});
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://a/"));
  settle();
  EXPECT_THAT(history.links(), SizeIs(1));
}

TEST_F(LinkHandlerTest, ABurstIsFewOpeningsAndOneWriteInOrder) {
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    const std::string url = "https://example.org/" + std::to_string(i);
    handler.open({url}, mail);
    expected += " " + url;
  }
  EXPECT_THAT(workspace.launches, SizeIs(1)) << "the first does not wait";
  settle(2s);
  EXPECT_LE(workspace.launches.size(), 6u);
  std::string all;
  for (const auto& launch : workspace.launches) {
    std::size_t bytes = 0;
    for (const std::string& argument : launch.configuration.arguments) {
      all += " " + argument;
      bytes += argument.size() + 1;
    }
    EXPECT_LE(bytes, 16'384u);
  }
  EXPECT_EQ(all, expected);
  EXPECT_LE(historyChanges, 4);
  EXPECT_EQ(history.links().front().url, "https://example.org/999");
  EXPECT_THAT(history.links(), SizeIs(200));
  scheduler.advance(20s);
  EXPECT_EQ(scheduler.timerCount(), 0u) << "nothing is left to wake up for";
}

TEST_F(LinkHandlerTest, ALinkThatIsTooLongForOthersGoesAlone) {
  const std::string url = "https://example.org/" + std::string(100'000, 'x');
  handler.open({"https://a/", url, "https://b/"}, {});
  settle(2s);
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://a/", "/org.mozilla.firefox " + url,
                                    "/org.mozilla.firefox https://b/"));
}

TEST_F(LinkHandlerTest, AnOpeningThatNeverEndsHoldsUpNoLinkForLong) {
  handler.open({"https://a/"}, {});
  handler.open({"https://b/", "https://private.org/"}, {});
  EXPECT_THAT(opened(),
              ElementsAre("/org.mozilla.firefox https://a/", "/com.google.Chrome --incognito https://private.org/"))
      << "other targets do not wait";
  scheduler.advance(4s);
  EXPECT_THAT(opened(), IsEmpty());
  scheduler.advance(1s);
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://b/"));
}

TEST_F(LinkHandlerTest, WhatFailsIsTriedOnceMoreAndThenTold) {
  workspace.openError = OpenError{"broken"};
  handler.open({"https://private.org/1", "https://private.org/2"}, {});
  workspace.deliverReports();
  scheduler.runPosted();
  workspace.openError.reset();
  settle();
  EXPECT_THAT(opened(), IsEmpty()) << "the second attempt was under way and has failed, too";
  EXPECT_THAT(notifications.posted, ElementsAre(std::pair("2 links could not be opened", "https://private.org/1")));
  EXPECT_THAT(history.links(), SizeIs(2));
  EXPECT_FALSE(history.links()[0].targetBundleID);

  workspace.installed.erase(chrome);
  workspace.installed["com.google.Chrome.other"] = "/x";
  handler.open({"https://private.org/3"}, {});
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://private.org/3"));
  settle();
  uninstall(firefox);
  uninstall(chrome);
  handler.open({"https://nowhere.org/"}, {});
  EXPECT_EQ(notifications.posted.back().second, "https://nowhere.org/");
}

TEST_F(LinkHandlerTest, ALinkThatIsHandedBackEnds) {
  const std::string url = "https://private.org/";
  const OpeningSource back{chrome, "Chrome"};
  handler.open({url}, mail);
  settle();
  handler.open({url}, mail);
  settle();
  EXPECT_THAT(opened(), SizeIs(2)) << "the user has clicked twice";
  handler.open({url}, back);
  settle();
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox " + url)) << "another browser";
  handler.open({url}, OpeningSource{firefox, "Firefox"});
  settle();
  EXPECT_THAT(opened(), IsEmpty());
  EXPECT_THAT(notifications.posted, SizeIs(1));
  scheduler.advance(20s);
  handler.open({url}, back);
  EXPECT_THAT(opened(), SizeIs(1)) << "long after, it is just a link";
}

TEST_F(LinkHandlerTest, ALoopThroughAnUnknownCallerEnds) {
  int count = 0;
  for (; count < 20 && notifications.posted.empty(); ++count) {
    handler.open({"https://private.org/"}, {});
    settle();
  }
  EXPECT_EQ(count, 6);
}

TEST_F(LinkHandlerTest, ItsEndLosesNothing) {
  handler.open({"https://a/"}, {});
  workspace.deliverReports();
  scheduler.runPosted();
  handler.open({"https://b/"}, {});
  handler.open({"https://c/"}, {});
  handler.finish();
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://a/", "/org.mozilla.firefox https://b/ https://c/"));
  EXPECT_THAT(history.links(), SizeIs(1)) << "what has been opened";
}

TEST_F(LinkHandlerTest, ProxyAppsAreFoundByTheRegistry) {
  const auto app = home.path() / "W.app";
  std::filesystem::create_directories(app);
  workspace.installed["app.corvana.1"] = app;
  Registry registry;
  registry.upsert({.bundleID = "app.corvana.1", .name = "W", .path = app});
  registry.save();
  auto set = *rules.current();
  set.fallback = RouteTarget::proxyApp("app.corvana.1");
  rules.save(set);
  handler.open({"https://a/"}, {});
  EXPECT_THAT(opened(), ElementsAre(app.string() + " https://a/"));
  settle();
  handler.open({"https://a/"}, OpeningSource{chrome, "Chrome"});
  EXPECT_THAT(opened(), ElementsAre("/org.mozilla.firefox https://a/")) << "Chrome is behind it";
  settle();
  std::filesystem::remove_all(app);
  handler.open({"https://b/"}, {});
  EXPECT_THAT(opened(), ElementsAre("/com.google.Chrome https://b/")) << "deleted";
}

}  // namespace
}  // namespace corvana
