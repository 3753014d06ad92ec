#pragma once

#include <filesystem>

#include "platform/process/unique_fd.h"

namespace corvana {

/// Held by the one background helper of a user for as long as it runs. The lock is the kernel's and ends with the
/// process, however that ends; the file stays, empty.
class SingleInstanceLock {
 public:
  /// True when this process now holds the lock; false when another does or the file cannot be opened. Never waits.
  /// Called once: a second call while the lock is held fails, and this object then no longer releases it.
  bool acquire(const std::filesystem::path& file);

  void release();

 private:
  UniqueFD descriptor_;
};

}  // namespace corvana
