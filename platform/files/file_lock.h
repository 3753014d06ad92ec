#pragma once

#include <filesystem>
#include <optional>
#include <utility>

#include "platform/process/unique_fd.h"

namespace corvana {

/// A lock of the kernel's that one holder has at a time, among all processes of the user and within each. It ends with
/// this object or with the process, however that ends; its file stays, empty.
class FileLock {
 public:
  /// Takes it, or nothing while another holder has it. Never waits. On file systems that know no locks, as some over
  /// networks, everybody gets it. Throws std::filesystem::filesystem_error when the file cannot be opened.
  static std::optional<FileLock> tryLock(const std::filesystem::path& file);

 private:
  explicit FileLock(UniqueFD descriptor) : descriptor_(std::move(descriptor)) {}

  UniqueFD descriptor_;
};

}  // namespace corvana
