#include "helper/helper.h"

#include <utility>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "platform/desktop/launch_mark.h"

namespace corvana {

Helper::Helper(const System& system, std::filesystem::path localState)
    : system_(system),
      profiles_(std::move(localState)),
      watch_(system.mainQueue, system.clock, system.windows, profiles_,
             [this](std::string_view mark) { return profileOfMark(mark); }),
      requests_({system.mainQueue, system.clock, system.windows, watch_}, clients_, settings_),
      dressing_(system.identities,
                [this](const std::string& profile) {
                  auto app = clients_.appOf(profile);
                  return app ? app : apps_.appOf(profile);
                }),
      server_(system.mainQueue, system.readQueue),
      links_({.mainQueue = system.mainQueue,
              .clock = system.clock,
              .workspace = system.workspace,
              .handlers = system.handlers,
              .notifications = system.notifications,
              .rules = rules_,
              .history = history_},
             [this] { tellAll(Event::Kind::routingHistoryChanged); }) {
  server_.onRequest = [this](const Clients::Connection& client, const Request& request) {
    requests_.handle(client, request);
    if (request.op == Request::Op::hello) dressing_.update(watch_.book());
  };
  server_.onClientClosed = [this](const Clients::Connection& client) {
    clients_.remove(client);
    watch_.setProfilesWithGroups(clients_.profilesWithGroups());
  };
  watch_.onChange = [this] { chromeChanged(); };
}

void Helper::applicationDidFinishLaunching() {
  socketPath_ = Corvana::socketPath();
  server_.start(socketPath_);
  watch_.start();
}

void Helper::applicationOpen(const std::vector<std::string>& urls) {
  if (!urls.empty()) links_.open(urls, system_.application.openingSource());
}

void Helper::applicationWillTerminate() {
  tellAll(Event::Kind::shuttingDown);
  server_.stop(socketPath_);
  dressing_.restoreAll();
  links_.finish();
}

void Helper::tellAll(Event::Kind kind) {
  server_.broadcast(Event{.event = kind}, [](const ClientConnection&) { return true; });
}

void Helper::chromeChanged() {
  if (std::exchange(toldTrust_, watch_.isTrusted()) != watch_.isTrusted()) {
    clients_.announcePermission(watch_.isTrusted());
  }
  announceCounts();
  requests_.bookChanged();
  dressing_.update(watch_.book());
}

void Helper::announceCounts() {
  const bool isEachTold =
      clients_.announceCounts([this](const WindowAudience& audience) { return watch_.count(audience); });
  laterTimer_ = isEachTold ? Timer() : system_.mainQueue.after(retryPeriod, [this] { announceCounts(); });
}

std::optional<std::string> Helper::profileOfMark(std::string_view mark) {
  const auto application = launchMark::application(mark);
  if (!application) return std::nullopt;
  // One that is connected may not be registered, as when it was built elsewhere.
  auto profile = clients_.profileOf(*application);
  return profile ? profile : apps_.profileOf(*application);
}

}  // namespace corvana
