#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/process/unique_fd.h"

namespace corvana {

/// What keeps this user's programs of the product from starting one browser all at once: lock files in the user's
/// runtime directory, a few for each user data directory. The locks are the kernel's: they end with their descriptors,
/// and with a process that is killed. Any thread.
class LaunchLocks {
 public:
  /// At most this many processes hand arguments to a browser that runs. Chrome's own limit is five that wait for its
  /// socket; one that is refused there becomes a second browser on the same user data.
  static constexpr int forwarders = 2;

  explicit LaunchLocks(const std::filesystem::path& userDataDirectory);

  /// For the one that starts the browser, or for one of those that hand arguments to it. Never waits: nothing while
  /// another holds the lock, an empty descriptor where the system allows no lock (which is no reason not to launch).
  std::optional<UniqueFD> tryStart() const;
  std::optional<UniqueFD> tryForward() const;

 private:
  static std::optional<UniqueFD> tryLock(const std::string& file);

  std::string path_;  // what the paths of the lock files begin with
};

}  // namespace corvana
