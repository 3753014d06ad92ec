#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/ipc/framing.h"
#include "helper/request_handler.h"
#include "tests/fakes/fake_browser_windows.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {

/// A client of the helper, at the other end of a real socket.
class TestClient {
 public:
  TestClient() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) throw std::runtime_error("socketpair");
    own_ = UniqueFD(ends[0]);
    connection = std::make_shared<ClientConnection>(UniqueFD(ends[1]));
  }

  /// What has come since the last call.
  std::vector<InboundMessage> received() {
    std::vector<InboundMessage> result;
    // Each call reads a part of what waits.
    for (;;) {
      const auto frames = readFrames(own_.get(), buffer_);
      if (!frames || frames->empty()) return result;
      for (const std::string& frame : *frames) result.push_back(InboundMessage::decode(frame).value());
    }
  }

  std::shared_ptr<ClientConnection> connection;

 private:
  UniqueFD own_;
  LineBuffer buffer_{LineBuffer::standardLimit};
};

/// The helper's side of windows and requests, with a Chrome in memory that has the profiles "Work" (in the folder
/// "Default") and "Home" ("Profile 1").
class HelperWorld : public testing::Test {
 protected:
  static constexpr const char* localState = ".config/chromium/Local State";

  HelperWorld() {
    writeProfiles({{"Default", "Work"}, {"Profile 1", "Home"}});
    watch.onChange = [this] {
      clients.announceCounts([this](const WindowAudience& audience) { return watch.count(audience); });
      if (std::exchange(wasTrusted_, watch.isTrusted()) != watch.isTrusted())
        clients.announcePermission(watch.isTrusted());
      handler.bookChanged();
    };
    watch.start();
    settle();
  }

  void writeProfiles(const std::vector<std::pair<std::string, std::string>>& list) {
    std::string entries;
    for (const auto& [directory, name] : list) {
      entries += (entries.empty() ? "\"" : ",\"") + directory + "\":{\"name\":\"" + name + "\"}";
    }
    const auto file = home.write(localState, "{\"profile\":{\"info_cache\":{" + entries + "}}}");
    files::setModificationDate(file, std::chrono::system_clock::time_point(std::chrono::hours(++writes_)));
  }

  /// Lets pass what Chrome's start and end are given.
  void settle() { scheduler.advance(std::chrono::seconds(5)); }

  fakes::FakeBrowserWindows::FakeWindow& open(BrowserWindows::Window id, const std::string& profileName) {
    chrome.fakeWindows.push_back(
        {.window = {.id = id},
         .reading = BrowserWindowReading{.name = "Page - Chromium - " + profileName, .title = "Page - Chromium"}});
    chrome.changed();
    return chrome.fakeWindows.back();
  }
  void shut(BrowserWindows::Window id) {
    std::erase_if(chrome.fakeWindows, [id](const auto& each) { return each.window.id == id; });
    chrome.changed();
  }

  Request request(Request::Op op) { return {.id = ++requests_, .op = op}; }
  Request hello(const std::string& profile, std::optional<std::string> group = std::nullopt) {
    Request result = request(Request::Op::hello);
    result.profileDirectory = profile;
    result.tabGroup = std::move(group);
    result.bundleID = "app.corvana." + profile;
    result.stubRevision = 7;
    return result;
  }
  void ask(TestClient& client, const Request& request) {
    handler.handle(client.connection, request);
    scheduler.runPosted();
  }

  /// What the client has been told of its windows: "2 certain", "0 unclassified"; and of the rest in the words of the
  /// wire. Responses read as their action, or what else they say.
  static std::vector<std::string> told(TestClient& client) {
    std::vector<std::string> result;
    for (const InboundMessage& message : client.received()) {
      if (const auto* event = std::get_if<Event>(&message.content)) {
        std::string text(nameOf(event->event));
        if (event->count) text = std::to_string(*event->count) + " " + std::string(nameOf(*event->confidence));
        if (event->trusted) text += *event->trusted ? " yes" : " no";
        result.push_back(text);
      } else {
        const auto& response = std::get<Response>(message.content);
        std::string text = response.action ? std::string(nameOf(*response.action)) : "";
        if (response.blocked) {
          text = "closed " + std::to_string(*response.closed) + ", remaining " + std::to_string(*response.remaining) +
                 (*response.blocked ? ", blocked" : "");
        }
        if (response.error) text += (response.ok ? "but " : "error: ") + *response.error;
        result.push_back(text);
      }
    }
    return result;
  }

  using Lines = std::vector<std::string>;

  support::TemporaryHome home;
  fakes::FakeScheduler scheduler;
  fakes::RecordingLog log;
  fakes::FakeBrowserWindows chrome{scheduler};
  ProfileList profiles{home.path() / localState};
  Clients clients;
  SettingsStore settings;
  ChromeWatch watch{scheduler, scheduler, chrome, profiles, [](std::string_view mark) {
                      return mark.starts_with("corvana:app.corvana.Default:") ? std::optional<std::string>("Default")
                                                                              : std::nullopt;
                    }};
  RequestHandler handler{{scheduler, scheduler, chrome, watch}, clients, settings};

 private:
  std::int64_t requests_ = 0;
  int writes_ = 0;
  bool wasTrusted_ = true;
};

}  // namespace corvana
