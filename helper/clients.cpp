#include "helper/clients.h"

namespace corvana {

void Clients::greet(const Connection& client, const Request& hello) {
  client->profileDirectory = hello.profileDirectory;
  client->profileName = hello.profileName;
  client->tabGroup = hello.tabGroup;
  client->bundleID = hello.bundleID;
  client->pid = hello.pid;
  client->includeIncognito = hello.includeIncognito.value_or(false);
  client->countAppWindows = hello.countAppWindows.value_or(false);
  client->ownWindow = hello.ownWindow.value_or(false);
  greeted_[client] = std::nullopt;
}

void Clients::remove(const Connection& client) {
  greeted_.erase(client);
}

WindowAudience Clients::audienceOf(const ClientConnection& client) {
  return {.profileDirectory = client.profileDirectory.value_or(""),
          .tabGroup = client.tabGroup,
          .includeIncognito = client.includeIncognito,
          .countAppWindows = client.countAppWindows};
}

bool Clients::announceCounts(const Count& count) {
  bool isEachTold = true;
  for (const auto& [client, told] : greeted_) isEachTold = announceCount(client, count) && isEachTold;
  return isEachTold;
}

bool Clients::announceCount(const Connection& client, const Count& count) {
  const auto found = greeted_.find(client);
  if (found == greeted_.end() || !client->profileDirectory) return true;
  const WindowCount now = count(audienceOf(*client));
  if (found->second == now) return true;
  const bool isTold = client->send(Event{.event = Event::Kind::windows,
                                         .profileDirectory = client->profileDirectory,
                                         .tabGroup = client->tabGroup,
                                         .count = now.count,
                                         .chromeRunning = now.chromeRunning,
                                         .confidence = now.confidence});
  if (isTold) found->second = now;
  return isTold;
}

void Clients::announcePermission(bool isTrusted) {
  for (const auto& [client, told] : greeted_) tellPermission(*client, isTrusted);
}

void Clients::tellPermission(ClientConnection& client, bool isTrusted) {
  client.send(Event{.event = Event::Kind::axPermission, .trusted = isTrusted});
}

std::set<std::string> Clients::profilesWithGroups() const {
  std::set<std::string> result;
  for (const auto& [client, told] : greeted_) {
    if (client->tabGroup && client->profileDirectory) result.insert(*client->profileDirectory);
  }
  return result;
}

std::optional<std::string> Clients::profileOf(std::string_view bundleID) const {
  for (const auto& [client, told] : greeted_) {
    if (client->bundleID == bundleID) return client->profileDirectory;
  }
  return std::nullopt;
}

std::optional<std::string> Clients::appOf(std::string_view profileDirectory) const {
  for (const auto& [client, told] : greeted_) {
    if (!client->tabGroup && client->bundleID && client->profileDirectory == profileDirectory) return client->bundleID;
  }
  return std::nullopt;
}

}  // namespace corvana
