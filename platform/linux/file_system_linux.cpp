#include <unistd.h>

#include "platform/posix/file_system.h"

namespace corvana::files {

ModificationDate modificationDateOf(const struct stat& status) {
  return {.seconds = status.st_mtim.tv_sec, .nanoseconds = status.st_mtim.tv_nsec};
}

int synchronize(int descriptor) {
  return ::fsync(descriptor);
}

}  // namespace corvana::files
