#include "platform/desktop/launch_locks_linux.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <utility>

#include "platform/files/user_directories.h"

namespace corvana {
namespace {

/// The path as the name of a file: 64-bit FNV-1a, which programs of every build agree on.
std::string hashed(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  char digits[17];
  (void)std::snprintf(digits, sizeof digits, "%016jx", static_cast<std::uintmax_t>(hash));
  return digits;
}

/// Opens the lock file, or makes it. Nothing that somebody put in its place is followed, waited for or taken for it.
UniqueFD opened(const std::string& file) {
  UniqueFD descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
  struct stat status {};
  const bool isOurs =
      descriptor && ::fstat(descriptor.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::getuid();
  return isOurs ? std::move(descriptor) : UniqueFD();
}

}  // namespace

LaunchLocks::LaunchLocks(const std::filesystem::path& userDataDirectory) {
  std::error_code error;
  const auto canonical = std::filesystem::weakly_canonical(userDataDirectory, error);
  path_ = (userDirectories::temporary() / "corvana-launch-").string() +
          hashed((error ? userDataDirectory.lexically_normal() : canonical).string());
}

std::optional<UniqueFD> LaunchLocks::tryStart() const {
  return tryLock(path_ + ".start");
}

std::optional<UniqueFD> LaunchLocks::tryForward() const {
  for (int i = 1; i <= forwarders; ++i) {
    if (auto lock = tryLock(path_ + ".forward-" + std::to_string(i))) return lock;
  }
  return std::nullopt;
}

std::optional<UniqueFD> LaunchLocks::tryLock(const std::string& file) {
  UniqueFD descriptor = opened(file);
  if (!descriptor || ::flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0) return descriptor;
  return errno == EWOULDBLOCK ? std::nullopt : std::optional(UniqueFD());
}

}  // namespace corvana
