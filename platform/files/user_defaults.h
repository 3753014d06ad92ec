#pragma once

#include <string_view>

namespace corvana {

/// A program's own small memory, kept between its runs. Main thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  /// False for a key that was never set.
  virtual bool boolFor(std::string_view key) = 0;
  /// Throws std::runtime_error when it cannot be kept.
  virtual void set(std::string_view key, bool value) = 0;
};

}  // namespace corvana
