#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/ipc/client_connection.h"
#include "core/ipc/messages.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/read_queue.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// The helper's side of the socket: admits proxy apps of the same user and hands on what they ask.
///
/// The read queue accepts, reads and decodes; everything else, the table of clients included, belongs to the main
/// thread. Callbacks run there and may stop the server, but not destroy it.
class SocketServer {
 public:
  static constexpr int backlog = 16;
  /// How long the listener is left alone when the system has no descriptors or memory for another connection: it stays
  /// readable, and would keep the queue spinning.
  static constexpr std::chrono::milliseconds exhaustionPause{100};
  /// The size asked for each client's send buffer: so much is taken for a client that does not read before it holds up
  /// the helper's main thread.
  static constexpr int sendBufferBytes = 4'194'304;
  /// A client is not read from while frames of more than so many bytes wait for the main thread, and then for a while.
  static constexpr std::size_t waitingBytes = 1'048'576;
  static constexpr std::chrono::milliseconds overloadPause{5};

  SocketServer(Scheduler& mainQueue, ReadQueue& readQueue) : mainQueue_(mainQueue), readQueue_(readQueue) {}
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;
  /// Closes all connections, since others may keep them.
  ~SocketServer();

  using Client = std::shared_ptr<ClientConnection>;

  /// Called with each request, in the order of its connection; with each client whose connection has ended, after its
  /// last request; and with the number of clients whenever it changes.
  std::function<void(const Client&, const Request&)> onRequest;
  std::function<void(const Client&)> onClientClosed;
  std::function<void(std::size_t)> onClientCountChanged;

  /// Listens at `path`. Throws SocketError, and then nothing runs.
  void start(const std::string& path);

  /// Closes all connections and the listener and removes the socket file, without a word to the callbacks.
  void stop(const std::string& path);

  /// Sends the message, encoded once, to every client that `predicate` chooses.
  void broadcast(const Event& event, const std::function<bool(const ClientConnection&)>& predicate);
  void broadcast(const Response& response, const std::function<bool(const ClientConnection&)>& predicate);

  /// The clients that are connected, in no particular order.
  std::vector<Client> connections() const;

 private:
  using Predicate = std::function<bool(const ClientConnection&)>;

  void admit(UniqueFD descriptor);
  ReadQueue::Handler readerFor(const Client& client);
  void drop(const ClientConnection* client);
  void sendToAll(const std::optional<std::string>& message, const Predicate& predicate);
  void reportCount();

  Scheduler& mainQueue_;
  ReadQueue& readQueue_;
  Watch listener_;
  std::map<const ClientConnection*, Client> clients_;
  /// One for each time that the server runs: late reports of an earlier time find it gone.
  std::unique_ptr<Lifetime> run_;
};

}  // namespace corvana
