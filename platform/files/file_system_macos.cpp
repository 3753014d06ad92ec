#include <fcntl.h>
#include <unistd.h>

#include "platform/files/file_system_posix.h"

namespace corvana::files {

ModificationDate modificationDateOf(const struct stat& status) {
  return {.seconds = status.st_mtimespec.tv_sec, .nanoseconds = status.st_mtimespec.tv_nsec};
}

int synchronize(int descriptor) {
  // fsync(2) leaves the bytes in the drive's own cache; not every file system can do better.
  return ::fcntl(descriptor, F_FULLFSYNC) == 0 ? 0 : ::fsync(descriptor);
}

}  // namespace corvana::files
