#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ipc/messages.h"

namespace corvana {

/// Talks to the helper by hand, to watch the protocol: sends one request as it is given, and hands on every frame that
/// comes back. Blocks; knows no main loop.
struct IPCClient {
  IPCClient() = delete;

  /// The request with id 1, that op and those fields, each "KEY=VALUE"; a value that is JSON is taken as such, any
  /// other as text. Beyond that nothing is checked against what a helper understands. Throws std::invalid_argument for
  /// a field without a key.
  static std::string request(const std::string& op, const std::vector<std::string>& fields);

  /// The helper's answer; nothing when none answers within `askLimit`.
  static std::optional<Response> ask(const Request& request);
  static constexpr std::chrono::seconds askLimit{5};

  enum class Outcome { answered, refused, timedOut, closed };

  /// Sends the request to the helper at `socketPath` and calls `onFrame` with each frame, in their order. Ends with the
  /// answer to the request, with the time-out or with the connection; only with the last when it `follows`. Throws
  /// SocketError.
  static Outcome exchange(const std::string& socketPath, const std::string& request, std::chrono::milliseconds timeout,
                          bool follows, const std::function<void(std::string_view)>& onFrame);
};

}  // namespace corvana
