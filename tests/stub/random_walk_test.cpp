// A proxy app in a world where everything happens that can happen, in any order.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <random>
#include <utility>

#include "tests/stub/proxy_app_world.h"
#include "tests/support/stress.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

/// What an app knows of its windows, as far as a test can tell.
struct Knowledge {
  std::int64_t count = 0;
  bool hadWindow = false;
  std::chrono::steady_clock::time_point lastWindow;
  /// A zero that something confirmed, since the last window.
  bool hasCertainZero = false;

  void learn(std::int64_t number, bool isCertain, std::chrono::steady_clock::time_point now) {
    count = number;
    if (number > 0) {
      hadWindow = true;
      hasCertainZero = false;
      lastWindow = now;
    } else if (isCertain) {
      hasCertainZero = true;
    }
  }
};

/// Tells what the app, while it lived, saw when it counted windows itself.
class SeenWindowList final : public WindowList {
 public:
  SeenWindowList(Knowledge& knowledge, const Clock& clock, const bool& hasEnded)
      : knowledge_(knowledge), clock_(clock), hasEnded_(hasEnded) {}
  std::optional<std::vector<WindowDescription>> windows() override {
    if (!hasEnded_) knowledge_.learn(static_cast<std::int64_t>(list.size()), isComplete, clock_.now());
    return list;
  }
  bool canSeeOtherApplicationsWindows() override { return isComplete; }

  std::vector<WindowDescription> list;
  bool isComplete = false;

 private:
  Knowledge& knowledge_;
  const Clock& clock_;
  const bool& hasEnded_;
};

class RandomWalkTest : public ProxyAppWorld {
 protected:
  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }
  bool chance(int percent) { return below(100) < percent; }

  /// A new app of some kind, in a world that goes on as it is.
  void begin() {
    delegate.reset();
    application = {};
    alerts = {};
    log.clear();
    while (link.waitingCount() > 0) link.answer(Response{});
    workspace.launches.clear();
    handedIn_.clear();  // what an app had not opened when it ended is nobody's any more
    knowledge_ = {.lastWindow = scheduler.now()};
    questionSince_.reset();
    launchedAt_ = scheduler.now();

    config.tabGroupName = chance(50) ? std::optional<std::string>("Research") : std::nullopt;
    config.closeOnQuit = chance(50);
    link.hasHelper = chance(50);
    make();
    delegate = std::make_unique<StubAppDelegate>(Bundle{home.path() / "W.app"},
                                                 StubAppDelegate::System{scheduler, scheduler, workspace, seenWindows_,
                                                                         application, notifications, alerts, link});
    application.delegate = delegate.get();
    if (chance(30)) openURLs();
    isCounting_ = true;
    delegate->applicationDidFinishLaunching();
  }

  void openURLs() {
    std::vector<std::string> urls;
    for (int i = below(3); i >= 0; --i) urls.push_back("https://" + std::to_string(nextURL_++) + "/");
    for (const std::string& url : urls) handedIn_.emplace(url, false);
    delegate->applicationOpen(urls);
  }

  void reportWindows() {
    const bool isOwn = chance(80);
    const std::int64_t number = chance(50) ? 0 : below(3);
    const bool isCertain = chance(50);
    if (isOwn) knowledge_.learn(number, isCertain, scheduler.now());
    link.onEvent({.event = Event::Kind::windows,
                  .profileDirectory = isOwn ? config.profileDirectory : "Other",
                  .tabGroup = config.tabGroupName,
                  .count = number,
                  .confidence = isCertain ? CountConfidence::certain : CountConfidence::unclassified});
  }

  void reportPermission() {
    const std::optional<bool> trusted = chance(50) ? std::optional(chance(50)) : std::nullopt;
    isCounting_ = trusted == false;
    permission(trusted);
  }

  void answer() {
    constexpr std::array actions{Response::Action::raised, Response::Action::nothingToRaise,
                                 Response::Action::openedGroup, Response::Action::groupNotFound,
                                 Response::Action::acknowledged};
    Response response{.ok = chance(80)};
    if (chance(80)) response.action = actions[static_cast<std::size_t>(below(5))];
    if (chance(50)) response.blocked = chance(50);
    link.answer(response);
  }

  void changeConnection() {
    if (link.state() == HelperConnection::State::connected) {
      isCounting_ = true;
      link.drop();
    } else {
      link.establish();
    }
  }

  void changeWindows() {
    seenWindows_.isComplete = chance(50);
    seenWindows_.list.assign(static_cast<std::size_t>(below(2)), WindowDescription{chrome, 800, 0});
  }

  /// Time passes in steps, since it ends with the app.
  void pass(std::chrono::milliseconds duration) {
    for (; duration > 0ms && !application.hasEnded; duration -= 100ms) {
      scheduler.advance(100ms);
      checkQuestion();
      if (isCounting_ && workspace.running.empty()) lastWithoutChrome_ = scheduler.now();
    }
  }

  /// The machine sleeps; what is overdue then happens at once.
  void sleep(std::chrono::seconds duration) {
    scheduler.jump(duration);
    lastWithoutChrome_ += duration;
    scheduler.advance(0s);
  }

  void step() {
    const bool isConnected = link.state() == HelperConnection::State::connected;
    switch (below(14)) {
      case 0:
        return openURLs();
      case 1:
        return delegate->applicationShouldHandleReopen();
      case 2:
        return chance(50) ? delegate->openNewWindow() : delegate->bringToFront();
      case 3:
      case 4:
        return isConnected ? reportWindows() : pass(1s);
      case 5:
        return isConnected && chance(50) ? reportPermission() : pass(1s);
      case 6:
      case 7:
        return link.waitingCount() > 0 ? answer() : pass(1s);
      case 8:
        return changeConnection();
      case 9:
        return chance(20) ? application.quit() : pass(1s);
      case 10:
        return alerts.openCount() > 0 ? alerts.dismiss() : pass(1s);
      case 11:
        if (!chance(20)) return pass(2s);
        return chance(70) ? startChrome() : endChrome();
      case 12:
        return chance(20) ? changeWindows() : pass(3s);
      default:
        if (chance(90)) return pass(std::chrono::seconds(below(40)));
        scheduler.setDate(scheduler.date() + std::chrono::hours(below(100) - 50));
        return sleep(std::chrono::seconds(below(200)));
    }
  }

  /// Chrome is given each URL that the app was given, and no other, for once.
  void checkURLs() {
    for (const auto& launch : std::exchange(workspace.launches, {})) {
      for (const std::string& argument : launch.configuration.arguments) {
        if (!argument.starts_with("https:")) continue;
        const auto url = handedIn_.find(argument);
        ASSERT_TRUE(url != handedIn_.end()) << argument << " was never handed in";
        ASSERT_FALSE(std::exchange(url->second, true)) << argument << " was launched again";
      }
    }
  }

  std::size_t waitingURLs() const {
    return static_cast<std::size_t>(std::ranges::count_if(handedIn_, [](const auto& url) { return !url.second; }));
  }

  void checkQuestion() {
    if (!application.isQuestionPending) return questionSince_.reset();
    if (!questionSince_) questionSince_ = scheduler.now();
    ASSERT_LE(scheduler.now() - *questionSince_, 9s) << "a question goes unanswered";
  }

  /// At most one each: launch grace, drain, wait for the helper, tries for the group, quit limit, counting; further one
  /// for each request, for each delivery to the group, and the quit limit of each question that was answered.
  void checkTimers() {
    ASSERT_LE(scheduler.timerCount(), 6 + link.waitingCount() + waitingURLs() + application.replies.size());
    ASSERT_LE(alerts.openCount(), 1u);
  }

  /// An app that has ended by itself had no window that it knew of.
  void checkEnd() {
    const auto lines = log.lines();
    if (std::ranges::count(lines, "stub info: terminating (selfQuit=false, liveness=" +
                                      std::string(nameOf(delegate->liveness())) + ")") > 0) {
      return;
    }
    ++selfQuits_;
    checkURLs();
    ASSERT_EQ(waitingURLs(), 0u) << "quit without opening its links";
    if (delegate->liveness() == Liveness::starting) {
      ASSERT_FALSE(knowledge_.hadWindow || !workspace.running.empty()) << "gave up waiting for a window";
      ASSERT_GE(scheduler.now() - launchedAt_, 30s) << "gave up too early";
      return;
    }
    if (scheduler.now() - lastWithoutChrome_ <= 2s) return;  // it could tell by itself
    ASSERT_EQ(knowledge_.count, 0) << "quit with a window";
    const auto wait = scheduler.now() - knowledge_.lastWindow;
    ASSERT_GE(wait, 2s);
    ASSERT_TRUE(knowledge_.hasCertainZero || lastWithoutChrome_ > knowledge_.lastWindow || wait >= 122s)
        << "quit although nothing confirmed that there was no window";
  }

  /// When everybody leaves the app in peace, it opens what it was given.
  void settle() {
    pass(90s);
    checkURLs();
    ASSERT_TRUE(application.hasEnded || waitingURLs() == 0) << "kept for ever";
  }

  std::mt19937 random_{20'261'123};
  Knowledge knowledge_;
  SeenWindowList seenWindows_{knowledge_, scheduler, application.hasEnded};
  bool isCounting_ = false;
  std::map<std::string, bool> handedIn_;
  int nextURL_ = 0;
  int selfQuits_ = 0;
  std::chrono::steady_clock::time_point launchedAt_;
  /// When the app last could tell by itself that there was no Chrome.
  std::chrono::steady_clock::time_point lastWithoutChrome_;
  std::optional<std::chrono::steady_clock::time_point> questionSince_;
};

TEST_F(RandomWalkTest, WhateverHappensNothingIsLostAndNobodyIsLeftWaiting) {
  begin();
  int apps = 1;
  for (int i = 1; i <= support::rounds(100'000); ++i) {
    step();
    checkURLs();
    checkQuestion();
    checkTimers();
    if (i % 50 == 0 && !application.hasEnded) settle();
    if (application.hasEnded) {
      checkEnd();
      begin();
      ++apps;
    }
    ASSERT_FALSE(HasFatalFailure()) << "in step " << i << " of app " << apps;
  }
  // The walk has been everywhere.
  EXPECT_GT(apps, 1000);
  EXPECT_GT(selfQuits_, 500);
  EXPECT_GT(nextURL_, 10'000);
}

}  // namespace
}  // namespace corvana
