// The stream that either end reads: cut into pieces as the first bytes say, it gives the frames that its line feeds
// make, whatever the pieces; and the buffer never exceeds its limit.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/ipc/framing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const std::string stream(data + 4, data + size);
  std::vector<std::string> expected;
  std::size_t start = 0;
  for (std::size_t end = stream.find('\n'); end != std::string::npos; start = end + 1, end = stream.find('\n', start)) {
    if (end > start) expected.push_back(stream.substr(start, end - start));
  }

  corvana::LineBuffer wide(1 << 20);
  corvana::LineBuffer narrow(16);
  std::vector<std::string> frames;
  std::size_t position = 0;
  for (std::size_t i = 0; position < stream.size(); ++i) {
    const std::string piece = stream.substr(position, 1 + data[i % 4] % 64);
    position += piece.size();
    for (std::string& frame : wide.append(piece)) frames.push_back(std::move(frame));
    for (const std::string& frame : narrow.append(piece)) {
      if (frame.empty() || frame.size() > 15 || frame.find('\n') != std::string::npos) std::abort();
    }
  }
  if (frames != expected) std::abort();
  return 0;
}
