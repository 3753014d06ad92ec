// The helper in a world where everything happens to Chrome's windows and to clients that can, in any order.
#include <map>
#include <memory>
#include <random>

#include "tests/helper/helper_world.h"
#include "tests/support/stress.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

class HelperWalkTest : public HelperWorld {
 protected:
  /// What a window really is.
  struct Truth {
    std::string profile;
    bool isPrivate = false;
    bool isApp = false;
  };
  struct App {
    TestClient client;
    WindowAudience audience;
    std::optional<WindowCount> told;
    /// Requests without an answer, with the time by which it is due.
    std::map<std::int64_t, std::chrono::steady_clock::time_point> due;
  };

  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }
  bool chance(int percent) { return below(100) < percent; }

  void connect() {
    auto app = std::make_unique<App>();
    Request greeting = hello(chance(50) ? "Default" : "Profile 1");
    greeting.includeIncognito = chance(50);
    greeting.countAppWindows = chance(50);
    app->audience = {.profileDirectory = *greeting.profileDirectory,
                     .includeIncognito = *greeting.includeIncognito,
                     .countAppWindows = *greeting.countAppWindows};
    app->due[greeting.id] = scheduler.now();
    ask(app->client, greeting);
    apps_.push_back(std::move(app));
  }

  void openSomething() {
    const BrowserWindows::Window id = ++lastWindow_;
    Truth truth{.profile = chance(50) ? "Default" : "Profile 1", .isPrivate = chance(20), .isApp = chance(20)};
    const std::string name = truth.profile == "Default" ? "Work" : "Home";
    auto& opened = open(id, name);
    opened.window.isAppWindow = truth.isApp;
    if (truth.isPrivate) {
      opened.reading->name = "Page - Chromium (Incognito)";
      if (truth.profile == "Default" && chance(70)) opened.window.launchMark = "corvana:app.corvana.Default:1-1_TIME5";
    }
    if (chance(40)) late_[id] = *std::exchange(opened.reading, std::nullopt);
    truth_[id] = truth;
    chrome.active = id;
    chrome.changed();
  }

  void closeSomething() {
    if (chrome.fakeWindows.empty()) return;
    shut(chrome.fakeWindows[static_cast<std::size_t>(below(static_cast<int>(chrome.fakeWindows.size())))].window.id);
  }

  void send(App& app, Request::Op op, std::chrono::nanoseconds limit) {
    const Request asked = request(op);
    app.due[asked.id] = scheduler.now() + limit;
    handler.handle(app.client.connection, asked);
  }

  void step() {
    switch (below(12)) {
      case 0:
      case 1:
        return openSomething();
      case 2:
      case 3:
        return closeSomething();
      case 4:
        for (auto& [id, reading] : std::exchange(late_, {})) {
          if (auto* window = chrome.find(id)) window->reading = reading;
        }
        return;
      case 5:
        if (apps_.size() < 6) connect();
        return;
      case 6:
        if (apps_.empty()) return;
        clients.remove(apps_.front()->client.connection);
        apps_.erase(apps_.begin());
        return;
      case 7:  // Chrome ends, or starts
        if (chrome.currentSight.process && chance(30)) {
          chrome.currentSight = {.seesWindows = true};
          chrome.fakeWindows.clear();
        } else if (!chrome.currentSight.process) {
          chrome.currentSight = {.process = ++lastProcess_, .seesWindows = true, .isTrusted = true};
        }
        chrome.sightHasChanged();
        return chrome.changed();
      case 8:
        if (!apps_.empty()) send(*apps_.back(), Request::Op::noteLaunch, 0s);
        return;
      case 9:
        // Several at once wait for each other, so that each may take the time of those before it.
        if (!apps_.empty() && apps_.back()->due.empty()) {
          send(*apps_.back(), chance(50) ? Request::Op::activate : Request::Op::closeWindows, 60s);
        }
        return;
      case 10:
        if (chrome.isStopped) {
          chrome.goOn();
        } else if (chance(20)) {
          chrome.isStopped = true;
        }
        return;
      default:
        return scheduler.advance(std::chrono::milliseconds(below(4000)));
    }
  }

  std::int64_t trueCount(const WindowAudience& audience) const {
    std::int64_t count = 0;
    for (const auto& each : chrome.fakeWindows) {
      const Truth& truth = truth_.at(each.window.id);
      count += truth.profile == audience.profileDirectory && (!truth.isPrivate || audience.includeIncognito) &&
               (!truth.isApp || audience.countAppWindows);
    }
    return count;
  }

  void check() {
    scheduler.runPosted();
    for (const auto& app : apps_) {
      for (const InboundMessage& message : app->client.received()) {
        if (const auto* response = std::get_if<Response>(&message.content)) {
          ASSERT_EQ(app->due.erase(response->id), 1u) << "answered twice, or never asked";
          continue;
        }
        const auto& event = std::get<Event>(message.content);
        if (event.event != Event::Kind::windows) continue;
        const WindowCount count{event.count.value(), event.confidence.value(), event.chromeRunning.value()};
        ASSERT_NE(app->told, count) << "told twice";
        app->told = count;
      }
      ASSERT_EQ(app->told, watch.count(app->audience)) << "a change was not told";
      const std::int64_t truth = trueCount(app->audience);
      if (app->told->confidence == CountConfidence::certain) {
        ASSERT_LE(app->told->count, truth) << "somebody else's window";
        ASSERT_FALSE(app->told->count == 0 && truth > 0) << "a certain zero";
      }
      for (const auto& [id, time] : app->due) ASSERT_LE(scheduler.now(), time) << "not answered in time";
    }
  }

  std::mt19937 random_{4711};
  std::vector<std::unique_ptr<App>> apps_;
  std::map<BrowserWindows::Window, Truth> truth_;
  std::map<BrowserWindows::Window, BrowserWindowReading> late_;
  BrowserWindows::Window lastWindow_ = 0;
  pid_t lastProcess_ = 5000;
};

TEST_F(HelperWalkTest, NoAppIsToldOfAZeroThatIsNone) {
  int certainZeros = 0;
  for (int i = 0; i < support::rounds(100'000); ++i) {
    step();
    check();
    if (HasFatalFailure()) FAIL() << "in step " << i;
    for (const auto& app : apps_) certainZeros += app->told == WindowCount{0, CountConfidence::certain, true};
  }
  EXPECT_GT(certainZeros, 1000) << "the walk does not reach what it is about";
}

}  // namespace
}  // namespace corvana
