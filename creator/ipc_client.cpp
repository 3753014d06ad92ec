#include "creator/ipc_client.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "core/identity/corvana.h"
#include "core/identity/json_coding.h"
#include "core/ipc/framing.h"
#include "core/ipc/messages.h"
#include "core/ipc/unix_socket.h"

namespace corvana {
namespace {

constexpr std::int64_t requestID = 1;

/// Whether the frame answers the request, and how.
std::optional<IPCClient::Outcome> outcomeOf(std::string_view frame) {
  const auto message = InboundMessage::decode(frame);
  const auto* response = message ? std::get_if<Response>(&message->content) : nullptr;
  if (response == nullptr || response->id != requestID) return std::nullopt;
  return response->ok ? IPCClient::Outcome::answered : IPCClient::Outcome::refused;
}

}  // namespace

std::string IPCClient::request(const std::string& op, const std::vector<std::string>& fields) {
  nlohmann::ordered_json message = {{"id", requestID}, {"op", op}};
  for (const std::string& field : fields) {
    const std::size_t separator = field.find('=');
    if (separator == std::string::npos || separator == 0) {
      throw std::invalid_argument("\"" + field + "\": expected KEY=VALUE");
    }
    const std::string value = field.substr(separator + 1);
    auto parsed = nlohmann::ordered_json::parse(value, nullptr, false);
    const std::string key = field.substr(0, separator);
    if (key == "id" || key == "op") throw std::invalid_argument("\"" + key + "\" is not for a field to set");
    message[key] = parsed.is_discarded() ? nlohmann::ordered_json(value) : std::move(parsed);
  }
  return message.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::optional<Response> IPCClient::ask(const Request& request) {
  std::optional<Response> answer;
  const auto take = [&](std::string_view frame) {
    auto message = InboundMessage::decode(frame);
    auto* response = message ? std::get_if<Response>(&message->content) : nullptr;
    if (response != nullptr && response->id == request.id) answer = std::move(*response);
  };
  try {
    (void)exchange(Corvana::socketPath(), encodeMessage(request).value(), askLimit, false, take);
  } catch (const SocketError&) {
    // Nobody listens.
  }
  return answer;
}

IPCClient::Outcome IPCClient::exchange(const std::string& socketPath, const std::string& request,
                                       std::chrono::milliseconds timeout, bool follows,
                                       const std::function<void(std::string_view)>& onFrame) {
  const UniqueFD connection = UnixSocket::connectToSameUser(socketPath);
  if (!writeFrame(connection.get(), request)) return Outcome::closed;

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  LineBuffer buffer(LineBuffer::standardLimit);
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (!follows && left.count() < 0) return Outcome::timedOut;  // events may come without end
    pollfd poll{.fd = connection.get(), .events = POLLIN, .revents = 0};
    const int wait = follows ? -1 : static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    const int ready = ::poll(&poll, 1, wait);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) return Outcome::timedOut;
    const auto frames = readFrames(connection.get(), buffer);
    if (!frames) return Outcome::closed;
    for (const std::string& frame : *frames) {
      onFrame(frame);
      if (const auto outcome = outcomeOf(frame); outcome && !follows) return *outcome;
    }
  }
}

}  // namespace corvana
