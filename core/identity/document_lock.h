#pragma once

#include <chrono>
#include <filesystem>

#include "platform/files/file_lock.h"

namespace corvana {

/// Held by whoever changes one of the shared documents, or installs the helper, from reading it until the new one is
/// written, so that of two changes at once neither is lost. Each document has a lock of its own: a search for proxy
/// apps on a slow disk holds up nobody's settings. Readers need none, since documents are replaced as a whole. Any
/// thread; a second lock for the same document waits for the first, also within a thread.
class DocumentLock {
 public:
  /// What people wait for a program that may be busy. One that is stopped would let them wait for ever.
  static constexpr std::chrono::milliseconds usualPatience = std::chrono::seconds(10);

  /// Waits for other holders for so long. Throws std::filesystem::filesystem_error with the code
  /// std::errc::device_or_resource_busy when that was too short, or with that of the system when there can be no lock.
  explicit DocumentLock(const std::filesystem::path& document, std::chrono::milliseconds patience = usualPatience);

 private:
  FileLock lock_;
};

}  // namespace corvana
