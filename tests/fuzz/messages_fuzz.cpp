// Messages on both ends: any frame gives a message or nothing, and a message is written and read back unchanged.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/ipc/messages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  const std::string_view frame(reinterpret_cast<const char*>(data), size);
  if (const auto request = decodeRequest(frame)) {
    const auto text = encodeMessage(*request);
    if (!text || text->find('\n') != std::string::npos || decodeRequest(*text) != request) std::abort();
  }
  if (const auto message = InboundMessage::decode(frame)) {
    const auto text = std::visit([](const auto& content) { return encodeMessage(content); }, message->content);
    if (!text || text->find('\n') != std::string::npos || InboundMessage::decode(*text) != message) std::abort();
  }
  return 0;
}
