#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "core/ipc/client_connection.h"
#include "core/ipc/messages.h"
#include "helper/window_book.h"

namespace corvana {

/// Who is connected, and what each was told of its windows last: a proxy app is told when that changes, and only then.
/// Programs that have not said hello are connected as well, but are no proxy apps. Main thread.
class Clients {
 public:
  using Connection = std::shared_ptr<ClientConnection>;
  using Count = std::function<WindowCount(const WindowAudience&)>;

  /// Takes in who the client says it is; said again, it is another's word from then on.
  void greet(const Connection& client, const Request& hello);
  void remove(const Connection& client);
  bool isGreeted(const Connection& client) const { return greeted_.contains(client); }

  /// Which windows are the client's.
  static WindowAudience audienceOf(const ClientConnection& client);

  /// Sends each greeted client its count if that is not what it was told last. False when one that does not read could
  /// not be told, and has to be another time.
  bool announceCounts(const Count& count);
  bool announceCount(const Connection& client, const Count& count);
  /// To all greeted clients.
  void announcePermission(bool isTrusted);
  static void tellPermission(ClientConnection& client, bool isTrusted);

  /// The profiles of which a client stands for a tab group.
  std::set<std::string> profilesWithGroups() const;
  /// The profile of the connected app with that bundle identifier.
  std::optional<std::string> profileOf(std::string_view bundleID) const;
  /// The connected app that stands for all windows of the profile.
  std::optional<std::string> appOf(std::string_view profileDirectory) const;

 private:
  /// With what each was told last.
  std::map<Connection, std::optional<WindowCount>> greeted_;
};

}  // namespace corvana
