#include "helper/request_handler.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "core/stub/stub_revision.h"
#include "core/stub/warn_throttle.h"

namespace corvana {
namespace {

std::chrono::nanoseconds closingLimit(std::optional<double> seconds) {
  if (!seconds || !std::isfinite(*seconds)) return RequestHandler::closingTime;
  const double bounded = std::clamp(*seconds, 0.0, static_cast<double>(RequestHandler::longestClosingTime.count()));
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(bounded));
}

}  // namespace

void RequestHandler::handle(const Clients::Connection& client, const Request& request) {
  using enum Request::Op;
  const bool isForAnybody = request.op == hello || request.op == status || request.op == listTabGroups;
  const ChromeOperation::Answer answer = [client, id = request.id](Response response) {
    response.id = id;
    client->send(response);
  };
  if (request.op == bye) return clients_.remove(client);
  settings_.reloadIfChanged();
  if (settings_.settings.disablesHelper && request.op != status) {
    // Without a word about windows an app goes on to count them itself.
    return answer(request.op == hello ? Response{.ok = true, .action = Response::Action::acknowledged}
                                      : failure("the helper is switched off in the settings"));
  }
  if (!isForAnybody && !clients_.isGreeted(client)) return answer(failure("no hello"));
  switch (request.op) {
    case hello:
      answer({.ok = true, .action = Response::Action::acknowledged});
      return greet(client, request);
    case activate:
      return this->activate(client, answer);
    case noteLaunch:
      context_.watch.expectWindow(request.profileDirectory.value_or(client->profileDirectory.value_or("")));
      return answer({.ok = true, .action = Response::Action::acknowledged});
    case closeWindows:
      return this->closeWindows(client, request, answer);
    case status:
      return tellStatus(client, request, answer);
    case listTabGroups:
      return this->listTabGroups(client, request, answer);
    case bye:
      return;
  }
}

void RequestHandler::greet(const Clients::Connection& client, const Request& request) {
  clients_.greet(client, request);
  context_.watch.setProfilesWithGroups(clients_.profilesWithGroups());
  Clients::tellPermission(*client, context_.watch.isTrusted());
  clients_.announceCount(client, [this](const WindowAudience& audience) { return context_.watch.count(audience); });

  if (!StubRevision::isOutdated(request.stubRevision) || !settings_.settings.notifiesWhenProxyAppsAreOutdated) return;
  // Only a name that can be a part of a file's: the client says what it likes.
  const std::string key = "outdated-" + client->bundleID.value_or("");
  if (key.find('/') != std::string::npos || key.find('\0') != std::string::npos || key.size() > 200) return;
  if (!WarnThrottle::shouldWarn(key, outdatedInterval, context_.clock)) return;
  client->send(Event{.event = Event::Kind::stubOutdated,
                     .stubRevision = StubRevision::current,
                     .improvements = StubRevision::improvements(request.stubRevision)});
}

void RequestHandler::activate(const Clients::Connection& client, ChromeOperation::Answer answer) {
  const WindowAudience audience = Clients::audienceOf(*client);
  operations_.run(audience.profileDirectory,
                  audience.tabGroup ? activatingTabGroup(context_, audience, client->ownWindow)
                                    : raisingWindows(context_, audience),
                  std::move(answer));
}

void RequestHandler::closeWindows(const Clients::Connection& client, const Request& request,
                                  ChromeOperation::Answer answer) {
  const WindowAudience audience = Clients::audienceOf(*client);
  operations_.run(audience.profileDirectory, closingWindows(context_, audience, closingLimit(request.timeout)),
                  std::move(answer));
}

WindowAudience RequestHandler::audienceFor(const ClientConnection& client, const Request& request) const {
  WindowAudience audience = Clients::audienceOf(client);
  if (request.profileDirectory) {
    audience = {.profileDirectory = *request.profileDirectory, .tabGroup = request.tabGroup};
  }
  if (request.includeIncognito) audience.includeIncognito = *request.includeIncognito;
  if (request.countAppWindows) audience.countAppWindows = *request.countAppWindows;
  return audience;
}

void RequestHandler::tellStatus(const Clients::Connection& client, const Request& request,
                                const ChromeOperation::Answer& answer) {
  if (request.deep.value_or(false)) context_.watch.lookAgain();
  const BrowserSight& sight = context_.watch.book().sight();
  Response response{.ok = true, .chromePID = sight.process};
  if (const WindowAudience audience = audienceFor(*client, request); !audience.profileDirectory.empty()) {
    const WindowCount count = context_.watch.count(audience);
    response.windowCount = count.count;
    response.confidence = count.confidence;
  } else {
    response.windowCount = static_cast<std::int64_t>(context_.watch.book().size());
    response.confidence = context_.watch.book().unattributed().empty() && (sight.seesWindows || !sight.process)
                              ? CountConfidence::certain
                              : CountConfidence::unclassified;
  }
  if (!context_.watch.isTrusted()) response.error = sight.problem;
  answer(std::move(response));
}

void RequestHandler::listTabGroups(const Clients::Connection& client, const Request& request,
                                   ChromeOperation::Answer answer) {
  const std::string profile = audienceFor(*client, request).profileDirectory;
  if (profile.empty()) return answer(failure("no profile is named"));
  context_.watch.readTabGroups(
      profile, lifetime_.guard([this, profile, answer = std::move(answer), limit = request.limit] {
        const WindowBook& book = context_.watch.book();
        std::map<std::string, TabGroupInfo> groups;
        bool isReadable = false;
        for (const BrowserWindows::Window window : book.tabbedWindows(profile)) {
          const auto* shown = book.tabGroups(window);
          if (shown == nullptr) continue;
          isReadable = true;
          for (const BrowserTabGroup& group : *shown) {
            TabGroupInfo& info = groups.try_emplace(group.name, TabGroupInfo{.name = group.name}).first->second;
            info.isOpen = info.isOpen || group.isOpen;
            info.isSaved = info.isSaved || group.isSaved;
            info.windowCount += group.isHere ? 1 : 0;
          }
        }
        if (!isReadable) return answer(failure("no window of the profile shows its tab groups"));
        std::vector<TabGroupInfo> list;
        for (auto& [name, info] : groups) {
          if (limit && static_cast<std::int64_t>(list.size()) >= *limit) break;
          list.push_back(std::move(info));
        }
        answer({.ok = true, .tabGroups = std::move(list)});
      }));
}

}  // namespace corvana
