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
      server_(system.mainQueue, system.readQueue) {
  server_.onRequest = [this](const Clients::Connection& client, const Request& request) {
    requests_.handle(client, request);
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
  (void)urls;
}

void Helper::applicationWillTerminate() {
  server_.broadcast(Event{.event = Event::Kind::shuttingDown}, [](const ClientConnection&) { return true; });
  server_.stop(socketPath_);
}

void Helper::chromeChanged() {
  if (std::exchange(toldTrust_, watch_.isTrusted()) != watch_.isTrusted()) {
    clients_.announcePermission(watch_.isTrusted());
  }
  announceCounts();
  requests_.bookChanged();
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
