#pragma once

#include <chrono>
#include <functional>

#include "platform/loop/scheduler.h"
#include "platform/process/unique_fd.h"

namespace corvana {

/// A serial queue on a thread of its own that waits for descriptors to become readable. It owns the descriptors that it
/// watches; their handlers run on it, one at a time.
class ReadQueue {
 public:
  /// Reads from the descriptor, and says how long to leave it alone before the next call: zero for not at all.
  using Handler = std::function<std::chrono::milliseconds(int descriptor)>;

  /// A handler's answer when there is nothing more to read, ever. The descriptor stays open.
  static constexpr std::chrono::milliseconds never = std::chrono::milliseconds::max();

  virtual ~ReadQueue() = default;

  /// Calls `onReadable` on the queue whenever the descriptor is readable or at its end. Destroying the token stops
  /// that; the descriptor is closed soon afterwards, once no handler uses it. Any thread. What the handler captured is
  /// destroyed on the queue.
  [[nodiscard]] virtual Watch watch(UniqueFD descriptor, Handler onReadable) = 0;
};

}  // namespace corvana
