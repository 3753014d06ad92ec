#include "core/ipc/single_instance_lock.h"

#include <fcntl.h>
#include <sys/file.h>

namespace corvana {

bool SingleInstanceLock::acquire(const std::filesystem::path& file) {
  // Close-on-exec: a child that inherited the descriptor would hold the lock beyond the end of this process.
  UniqueFD descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  const bool isLocked = descriptor && ::flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0;
  if (!isLocked && descriptor_) (void)descriptor_.release();  // stays open and locked for the life of the process
  if (isLocked) descriptor_ = std::move(descriptor);
  return isLocked;
}

void SingleInstanceLock::release() {
  if (!descriptor_) return;
  (void)::flock(descriptor_.get(), LOCK_UN);
  descriptor_ = UniqueFD();
}

}  // namespace corvana
