#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/ipc/framing.h"
#include "core/ipc/messages.h"
#include "platform/loop/read_queue.h"
#include "platform/process/unique_fd.h"

namespace corvana {

/// One proxy app that is connected to the helper. The server makes it; whoever has to answer later may keep it beyond
/// its end, when what is sent goes nowhere. Main thread.
class ClientConnection {
 public:
  explicit ClientConnection(UniqueFD descriptor) : accepted_(std::move(descriptor)), descriptor_(accepted_.get()) {}
  ClientConnection(const ClientConnection&) = delete;
  ClientConnection& operator=(const ClientConnection&) = delete;

  // Who it is, as its hello says. Whoever handles the hello sets these; broadcasts choose by them.
  std::optional<std::string> profileDirectory;
  std::optional<std::string> profileName;
  std::optional<std::string> tabGroup;
  std::optional<std::string> bundleID;
  std::optional<std::int32_t> pid;
  bool includeIncognito = false;
  bool countAppWindows = false;
  bool ownWindow = false;

  /// Sends a message. One that cannot be encoded or written is dropped, and the result is false; the reading side
  /// notices a dead peer. A peer that does not read can hold up the caller for about a second (see writeFrame), once
  /// until it has read.
  bool send(const Response& response);
  bool send(const Event& event);
  /// Sends bytes that `frameFor` made.
  bool sendFrame(std::string_view frame);

 private:
  friend class SocketServer;

  /// Hands the descriptor to the queue. `onReadable` runs there.
  void start(ReadQueue& queue, ReadQueue::Handler onReadable);
  /// Closes the connection, soon.
  void close();

  UniqueFD accepted_;  // until `start`
  int descriptor_;     // -1 once closed
  FrameWriter writer_;
  Watch readWatch_;
};

}  // namespace corvana
