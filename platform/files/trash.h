#pragma once

#include <filesystem>

namespace corvana {

/// The user's trash, from which files can be taken back. Main thread.
class Trash {
 public:
  virtual ~Trash() = default;

  /// Throws std::runtime_error with the system's words when the file or folder cannot be moved there.
  virtual void move(const std::filesystem::path& file) = 0;
};

}  // namespace corvana
