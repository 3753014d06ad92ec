#include "core/ipc/client_connection.h"

#include <utility>

namespace corvana {

bool ClientConnection::send(const Response& response) {
  const auto message = encodeMessage(response);
  return message && sendFrame(frameFor(*message));
}

bool ClientConnection::send(const Event& event) {
  const auto message = encodeMessage(event);
  return message && sendFrame(frameFor(*message));
}

bool ClientConnection::sendFrame(std::string_view frame) {
  return descriptor_ >= 0 && writer_.write(descriptor_, frame);
}

void ClientConnection::start(ReadQueue& queue, ReadQueue::Handler onReadable) {
  readWatch_ = queue.watch(std::move(accepted_), std::move(onReadable));
}

void ClientConnection::close() {
  readWatch_ = {};
  descriptor_ = -1;
}

}  // namespace corvana
