#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "stub/stub_app_delegate.h"
#include "tests/fakes/fake_alerts.h"
#include "tests/fakes/fake_application.h"
#include "tests/fakes/fake_helper_connection.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_user_notifications.h"
#include "tests/fakes/fake_window_list.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {

/// A proxy app "W" of the profile "Work" in a world of fakes, with Chrome installed.
class ProxyAppWorld : public testing::Test {
 protected:
  static constexpr pid_t chrome = 4711;

  ProxyAppWorld() {
    workspace.installed.emplace("com.google.Chrome", "/chrome");
    windows.isComplete = false;
  }

  void startChrome() { workspace.running = {{"com.google.Chrome", chrome}}; }
  void endChrome() { workspace.running.clear(); }

  /// Makes the delegate from `config`.
  void make() {
    PropertyDictionary plist = config.plistEntries();
    plist.emplace("CFBundleIdentifier", PropertyValue{std::string("app.corvana.0a1b")});
    plist.emplace("CFBundleName", PropertyValue{std::string("W")});
    plist.emplace("CVNStubRevision", PropertyValue{std::int64_t{7}});
    home.write("W.app/Contents/Info.plist", PropertyList::xml(plist));
    delegate = makeFrom("W.app");
  }
  std::unique_ptr<StubAppDelegate> makeFrom(const char* bundle) {
    auto result = std::make_unique<StubAppDelegate>(
        Bundle{home.path() / bundle},
        StubAppDelegate::System{scheduler, scheduler, workspace, windows, application, notifications, alerts, link});
    application.delegate = result.get();
    return result;
  }
  void launch() {
    make();
    delegate->applicationWillFinishLaunching();
    delegate->applicationDidFinishLaunching();
  }

  void count(std::int64_t number, CountConfidence confidence = CountConfidence::certain) {
    link.onEvent({.event = Event::Kind::windows,
                  .profileDirectory = config.profileDirectory,
                  .tabGroup = config.tabGroupName,
                  .count = number,
                  .confidence = confidence});
  }
  void permission(std::optional<bool> trusted) {
    link.onEvent({.event = Event::Kind::axPermission, .trusted = trusted});
  }

  /// What Chrome was launched with so far, each launch as its URLs; a launch without any is "window". Forgets them.
  std::vector<std::string> launched() {
    std::vector<std::string> result;
    for (const auto& launch : std::exchange(workspace.launches, {})) {
      std::string urls;
      const auto& arguments = launch.configuration.arguments;
      if (arguments.empty()) urls = "activated";
      if (arguments.size() == 2) urls = "window";
      for (std::size_t i = 2; i < arguments.size(); ++i) urls.append(urls.empty() ? "" : " ").append(arguments[i]);
      result.push_back(std::move(urls));
    }
    return result;
  }
  /// The names of the operations that were sent so far. Forgets them.
  std::vector<std::string> sent() {
    std::vector<std::string> result;
    for (const Request& request : std::exchange(link.sent, {})) result.emplace_back(nameOf(request.op));
    return result;
  }

  support::TemporaryHome home;
  fakes::FakeScheduler scheduler;
  fakes::FakeWorkspace workspace;
  fakes::FakeWindowList windows;
  fakes::FakeApplication application;
  fakes::FakeUserNotifications notifications;
  fakes::FakeAlerts alerts;
  fakes::FakeHelperConnection link{scheduler};
  fakes::RecordingLog log;
  StubConfig config{.profileDirectory = "Profile 7", .profileName = "Work"};
  std::unique_ptr<StubAppDelegate> delegate;
};

}  // namespace corvana
