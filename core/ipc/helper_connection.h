#pragma once

#include <chrono>
#include <functional>

#include "core/ipc/messages.h"

namespace corvana {

/// A proxy app's one connection to the background helper, as its user sees it. Main thread. Any callback may destroy
/// the connection.
class HelperConnection {
 public:
  enum class State { disconnected, connecting, connected };
  using Configure = std::function<void(Request&)>;
  using Completion = std::function<void(const Response&)>;

  virtual ~HelperConnection() = default;

  virtual State state() const = 0;

  /// Called with every event, and with every new state.
  std::function<void(const Event&)> onEvent;
  std::function<void(State)> onStateChange;

  /// Tries to connect at once, and from then on whenever the connection is missing. Each connection begins with
  /// `hello`, in which the protocol version is set.
  virtual void connect(Request hello) = 0;

  /// Sends a request. `completion` is called once: with the helper's response, or with one that is not ok and has the
  /// error "not connected" (before this call returns), "timed out" or "helper disconnected". After `shutdown` only the
  /// time-out can still call it. `configure`, which may be empty, fills in the request.
  virtual void request(Request::Op op, std::chrono::nanoseconds timeout, const Configure& configure,
                       Completion completion) = 0;

  /// Sends a request whose response is ignored, also while a new connection is not ready for requests.
  virtual void post(Request::Op op, const Configure& configure) = 0;

  /// Says goodbye and closes the connection for good, until the next `connect`.
  virtual void shutdown() = 0;
};

}  // namespace corvana
