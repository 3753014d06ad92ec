#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>

#include "platform/files/file_lock.h"

namespace corvana {

std::optional<FileLock> FileLock::tryLock(const std::filesystem::path& file) {
  const auto fail = [&file](int error) {
    throw std::filesystem::filesystem_error("cannot lock", file, std::error_code(error, std::generic_category()));
  };
  // Close-on-exec: a child that inherited the descriptor would hold the lock beyond the end of this process.
  UniqueFD descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!descriptor) fail(errno);
  while (::flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (error == EWOULDBLOCK) return std::nullopt;
    if (error == ENOLCK || error == ENOSYS || error == EOPNOTSUPP) break;
    if (error != EINTR) fail(error);
  }
  return FileLock(std::move(descriptor));
}

}  // namespace corvana
