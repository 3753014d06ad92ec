#include "core/ipc/socket_server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <utility>

#include "core/identity/log.h"
#include "core/ipc/unix_socket.h"
#include "platform/process/sockets.h"

namespace corvana {
namespace {

bool isExhaustion(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

/// Whether the peer may stay. Sets up its descriptor.
bool prepare(int descriptor) {
  if (!UnixSocket::peerIsSameUser(descriptor)) {
    Log::ipc.error("rejected connection from another uid");
    return false;
  }
  UnixSocket::setNonBlocking(descriptor);
  const int bytes = SocketServer::sendBufferBytes;
  (void)::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);  // as much of it as the system allows
  return true;
}

}  // namespace

SocketServer::~SocketServer() {
  // A descriptor that its queue has closed may be another file's by the time that somebody answers late.
  for (const auto& [key, client] : clients_) client->close();
}

void SocketServer::start(const std::string& path) {
  assert(run_ == nullptr);  // a server is stopped before it is started again
  UniqueFD listener = UnixSocket::listen(path, backlog);
  run_ = std::make_unique<Lifetime>();
  const auto onAccepted =
      run_->guard([this](const std::shared_ptr<UniqueFD>& descriptor) { admit(std::move(*descriptor)); });
  listener_ =
      readQueue_.watch(std::move(listener), [&mainQueue = mainQueue_, onAccepted, isExhausted = false](int fd) mutable {
        while (UniqueFD accepted = sockets::accept(fd)) {
          isExhausted = false;
          if (!prepare(accepted.get())) continue;
          // Shared, because a task can be copied.
          auto descriptor = std::make_shared<UniqueFD>(std::move(accepted));
          mainQueue.post([onAccepted, descriptor] { onAccepted(descriptor); });
        }
        const int error = errno;
        if (!isExhaustion(error)) return std::chrono::milliseconds(0);
        if (!std::exchange(isExhausted, true)) {
          Log::ipc.error("no proxy app can connect for now: ", std::strerror(error));
        }
        return exhaustionPause;
      });
  Log::ipc.info("helper listening at ", path);
}

void SocketServer::admit(UniqueFD descriptor) {
  auto client = std::make_shared<ClientConnection>(std::move(descriptor));
  clients_.emplace(client.get(), client);
  client->start(readQueue_, readerFor(client));
  reportCount();
}

ReadQueue::Handler SocketServer::readerFor(const Client& client) {
  /// Requests of one read, with what their frames took.
  struct Batch {
    std::vector<Request> requests;
    std::size_t bytes = 0;
  };
  const std::weak_ptr<ClientConnection> reference = client;
  const auto handleRequests = run_->guard([this, reference](const std::vector<Request>& requests) {
    for (const Request& request : requests) {
      const auto connection = reference.lock();
      if (!connection || !clients_.contains(connection.get())) return;
      if (const auto callback = onRequest) callback(connection, request);
    }
  });
  const auto handleEnd = run_->guard([this, reference] {
    if (const auto connection = reference.lock()) drop(connection.get());
  });
  auto buffer = std::make_shared<LineBuffer>(LineBuffer::standardLimit);
  auto waiting = std::make_shared<std::atomic<std::size_t>>(0);
  return [&mainQueue = mainQueue_, buffer, waiting, handleRequests, handleEnd](int fd) -> std::chrono::milliseconds {
    if (*waiting > waitingBytes) return overloadPause;
    const auto frames = readFrames(fd, *buffer);
    if (!frames) {
      mainQueue.post(handleEnd);
      return ReadQueue::never;
    }
    Batch batch;
    for (const std::string& frame : *frames) {
      if (auto request = decodeRequest(frame)) {
        batch.requests.push_back(std::move(*request));
        batch.bytes += frame.size() + sizeof(Request);
      } else {
        Log::ipc.error("undecodable request frame");
      }
    }
    if (!batch.requests.empty()) {
      *waiting += batch.bytes;
      mainQueue.post([handleRequests, waiting, batch = std::move(batch)] {
        handleRequests(batch.requests);
        *waiting -= batch.bytes;
      });
    }
    return {};
  };
}

void SocketServer::drop(const ClientConnection* client) {
  const auto entry = clients_.extract(client);
  if (entry.empty()) return;
  entry.mapped()->close();
  const std::weak_ptr<const void> run = run_->reference();
  if (const auto callback = onClientClosed) callback(entry.mapped());
  if (!run.expired()) reportCount();  // the callback may have stopped the server
}

void SocketServer::reportCount() {
  if (const auto callback = onClientCountChanged) callback(clients_.size());
}

void SocketServer::broadcast(const Event& event, const Predicate& predicate) {
  sendToAll(encodeMessage(event), predicate);
}

void SocketServer::broadcast(const Response& response, const Predicate& predicate) {
  sendToAll(encodeMessage(response), predicate);
}

void SocketServer::sendToAll(const std::optional<std::string>& message, const Predicate& predicate) {
  if (!message) return;
  const std::string frame = frameFor(*message);
  for (const auto& [key, client] : clients_) {
    if (predicate(*client)) (void)client->sendFrame(frame);
  }
}

std::vector<SocketServer::Client> SocketServer::connections() const {
  std::vector<Client> result;
  for (const auto& [key, client] : clients_) result.push_back(client);
  return result;
}

void SocketServer::stop(const std::string& path) {
  run_.reset();
  for (const auto& [key, client] : std::exchange(clients_, {})) client->close();
  listener_ = {};
  (void)::unlink(path.c_str());  // it may be gone already
}

}  // namespace corvana
