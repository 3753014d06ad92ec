#include <unistd.h>

#include "platform/files/file_system_posix.h"

namespace corvana::files {

ModificationDate modificationDateOf(const struct stat& status) {
  return {.seconds = status.st_mtim.tv_sec, .nanoseconds = status.st_mtim.tv_nsec};
}

int synchronize(int descriptor) {
  return ::fsync(descriptor);
}

}  // namespace corvana::files
