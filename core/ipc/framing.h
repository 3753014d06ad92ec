#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Frames: each message on its own line.
namespace corvana {

/// The bytes of a message as they go over the socket: compact JSON holds no line feed, so that one ends the frame.
std::string frameFor(std::string_view message);

/// Sends `message` as one frame. True when all of it was written.
///
/// A full socket buffer is waited for: up to 1,000 pauses of 1 ms in a row without progress. So a peer that does not
/// read can hold up the calling thread for about a second per frame; to whom that happens is bounded by the buffer.
/// A frame that fails may have been written in part. `pause` replaces the waiting in tests.
bool writeFrame(int descriptor, std::string_view message);

/// Sends frames over one connection, and remembers how that went. When a frame was cut off, a line feed comes before
/// the next, so that only the torn frame is lost. When the peer was waited for in vain, it is not waited for again:
/// until it has taken most of what waits for it, frames for it are dropped whole. Used on the thread that owns the
/// descriptor.
class FrameWriter {
 public:
  FrameWriter();
  explicit FrameWriter(std::function<void()> pause) : pause_(std::move(pause)) {}

  /// `frame` is what `frameFor` made.
  bool write(int descriptor, std::string_view frame);

 private:
  std::function<void()> pause_;
  bool isTorn_ = false;
  bool isDeaf_ = false;
};

/// Gathers received bytes and cuts them into frames. Used on the queue that reads its connection.
class LineBuffer {
 public:
  /// The limit on both sides of the helper's socket.
  static constexpr std::size_t standardLimit = 4'194'304;

  explicit LineBuffer(std::size_t limit) : limit_(limit) {}

  /// Adds bytes; gives the frames that are now complete, without their line feeds and without empty ones. More than
  /// `limit` bytes at once are dropped, all of them: a peer cannot make the buffer grow by never ending its line.
  std::vector<std::string> append(std::string_view bytes);

 private:
  std::size_t limit_;
  std::string buffer_;
  std::size_t searched_ = 0;  // no line feed before this position
};

/// Reads once from a non-blocking descriptor; gives the frames that are now complete, which may be none. Nothing when
/// the connection has ended, in whichever way.
std::optional<std::vector<std::string>> readFrames(int descriptor, LineBuffer& buffer);

}  // namespace corvana
