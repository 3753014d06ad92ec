#pragma once

#include <utility>

namespace corvana {

/// Owns one file descriptor and closes it.
class UniqueFD {
 public:
  UniqueFD() = default;
  explicit UniqueFD(int descriptor) : descriptor_(descriptor) {}
  UniqueFD(UniqueFD&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueFD& operator=(UniqueFD&& other) noexcept {
    UniqueFD old(std::exchange(descriptor_, std::exchange(other.descriptor_, -1)));
    return *this;
  }
  ~UniqueFD();

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

  /// Gives the descriptor up without closing it.
  [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_ = -1;
};

}  // namespace corvana
