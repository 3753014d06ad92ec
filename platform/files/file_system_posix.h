#pragma once

#include <sys/stat.h>

#include "platform/files/files.h"

/// What the systems with POSIX files do each in their own way.
namespace corvana::files {

ModificationDate modificationDateOf(const struct stat& status);

/// Waits until the descriptor's content is safe from a power failure. 0, or -1 with errno.
int synchronize(int descriptor);

}  // namespace corvana::files
