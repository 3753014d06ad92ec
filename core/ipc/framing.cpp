#include "core/ipc/framing.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "platform/process/sockets.h"

namespace corvana {
namespace {

constexpr int retryLimit = 1000;

void pauseForAMillisecond() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

struct Written {
  std::size_t bytes = 0;
  /// The peer did not read for as long as it was waited for.
  bool isDeaf = false;
};

Written writeAll(int descriptor, std::string_view bytes, const std::function<void()>& pause) {
  Written written;
  int retries = 0;
  while (written.bytes < bytes.size()) {
    const ssize_t count = sockets::write(descriptor, bytes.substr(written.bytes));
    if (count > 0) {
      written.bytes += static_cast<std::size_t>(count);
      retries = 0;
      continue;
    }
    if (count == 0 || errno != EAGAIN) break;
    written.isDeaf = retries == retryLimit;
    if (written.isDeaf) break;
    ++retries;
    pause();
  }
  return written;
}

/// Whether there is room again: a good part of the socket's buffer, not just a byte, by which a peer that reads one now
/// and then could have itself waited for each time.
bool hasRoom(int descriptor) {
  pollfd poll{.fd = descriptor, .events = POLLOUT, .revents = 0};
  return ::poll(&poll, 1, 0) > 0;
}

}  // namespace

std::string frameFor(std::string_view message) {
  std::string frame;
  frame.reserve(message.size() + 1);
  frame.append(message).append("\n");
  return frame;
}

bool writeFrame(int descriptor, std::string_view message) {
  const std::string frame = frameFor(message);
  return writeAll(descriptor, frame, pauseForAMillisecond).bytes == frame.size();
}

FrameWriter::FrameWriter() : FrameWriter(pauseForAMillisecond) {}

bool FrameWriter::write(int descriptor, std::string_view frame) {
  if (isDeaf_ && !hasRoom(descriptor)) return false;
  isDeaf_ = false;
  if (isTorn_) {
    const Written end = writeAll(descriptor, "\n", pause_);
    isTorn_ = end.bytes == 0;
    isDeaf_ = end.isDeaf;
    if (isTorn_) return false;
  }
  const Written written = writeAll(descriptor, frame, pause_);
  isTorn_ = written.bytes > 0 && written.bytes < frame.size();
  isDeaf_ = written.isDeaf;
  return written.bytes == frame.size();
}

std::vector<std::string> LineBuffer::append(std::string_view bytes) {
  if (bytes.size() > limit_ - buffer_.size()) {
    std::string().swap(buffer_);
    searched_ = 0;
    return {};
  }
  buffer_.append(bytes);

  std::vector<std::string> frames;
  std::size_t start = 0;
  std::size_t end = buffer_.find('\n', searched_);
  for (; end != std::string::npos; end = buffer_.find('\n', start)) {
    if (end > start) frames.emplace_back(buffer_, start, end - start);
    start = end + 1;
  }
  buffer_.erase(0, start);
  searched_ = buffer_.size();

  // A connection is open for days; what one large frame took is not kept for it.
  constexpr std::size_t worthKeeping = 65'536;
  if (buffer_.capacity() > worthKeeping && buffer_.size() < worthKeeping / 2) buffer_.shrink_to_fit();
  return frames;
}

std::optional<std::vector<std::string>> readFrames(int descriptor, LineBuffer& buffer) {
  std::array<char, 16'384> bytes;
  const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
  if (count < 0 && errno == EAGAIN) return std::vector<std::string>();
  if (count <= 0) return std::nullopt;
  return buffer.append({bytes.data(), static_cast<std::size_t>(count)});
}

}  // namespace corvana
