#pragma once

#include <chrono>
#include <string_view>

#include "platform/loop/scheduler.h"

namespace corvana {

/// Keeps repeated warnings from nagging. The time of the last warning of each kind is the modification date of a marker
/// file in the support directory, so that it holds for all proxy apps of the user and across their runs. Any thread.
struct WarnThrottle {
  WarnThrottle() = delete;

  /// Whether a warning of this kind is due, the last one being at least `interval` ago; if so, it counts as given now.
  /// When that cannot be noted down it is due all the same.
  static bool shouldWarn(std::string_view key, std::chrono::seconds interval, const Clock& clock);

  /// Makes the next warning of this kind due.
  static void reset(std::string_view key);
};

}  // namespace corvana
