#include "core/ipc/client_connection.h"

#include <utility>

namespace corvana {

void ClientConnection::send(const Response& response) {
  if (const auto message = encodeMessage(response)) sendFrame(frameFor(*message));
}

void ClientConnection::send(const Event& event) {
  if (const auto message = encodeMessage(event)) sendFrame(frameFor(*message));
}

void ClientConnection::sendFrame(std::string_view frame) {
  if (descriptor_ >= 0) (void)writer_.write(descriptor_, frame);
}

void ClientConnection::start(ReadQueue& queue, ReadQueue::Handler onReadable) {
  readWatch_ = queue.watch(std::move(accepted_), std::move(onReadable));
}

void ClientConnection::close() {
  readWatch_ = {};
  descriptor_ = -1;
}

}  // namespace corvana
