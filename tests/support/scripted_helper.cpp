// Stands in for the background helper: serves the real socket under the real lock and answers by a fixed script.
//   hello, listTabGroups   answered at once
//   activate               "raised", with this process's id as Chrome's
//   status                 held until `limit` of them wait, then answered in reverse order
//   noteLaunch             not answered; every client gets a `windows` event for that profile
//   closeWindows, bye      not answered
// Each request is appended to $HOME/requests as it was understood.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <vector>

#include "core/identity/corvana.h"
#include "core/ipc/single_instance_lock.h"
#include "core/ipc/socket_server.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"

int main() {
  using namespace corvana;
  ::alarm(120);  // outlives no test by long
  Corvana::ensureSupportDirectory();
  SingleInstanceLock lock;
  if (!lock.acquire(Corvana::lockURL())) return 3;
  EventLoop loop;
  ReadQueueLinux queue("app.corvana.ipc");
  SocketServer server(loop, queue);
  std::vector<std::pair<SocketServer::Client, std::int64_t>> held;
  std::ofstream log(std::string(std::getenv("HOME")) + "/requests", std::ios::app);

  server.onRequest = [&](const SocketServer::Client& client, const Request& request) {
    log << encodeMessage(request).value() << std::endl;
    switch (request.op) {
      case Request::Op::hello:
        client->profileDirectory = request.profileDirectory;
        client->send(Response{.id = request.id, .ok = true, .action = Response::Action::acknowledged});
        break;
      case Request::Op::activate:
        client->send(
            Response{.id = request.id, .ok = true, .action = Response::Action::raised, .chromePID = ::getpid()});
        break;
      case Request::Op::status:
        held.emplace_back(client, request.id);
        if (static_cast<std::int64_t>(held.size()) < request.limit.value_or(1)) break;
        for (; !held.empty(); held.pop_back()) held.back().first->send(Response{.id = held.back().second, .ok = true});
        break;
      case Request::Op::noteLaunch:
        server.broadcast(Event{.event = Event::Kind::windows, .profileDirectory = request.profileDirectory, .count = 1},
                         [](const ClientConnection&) { return true; });
        break;
      case Request::Op::listTabGroups:
        client->send(Response{
            .id = request.id, .ok = true, .tabGroups = std::vector<TabGroupInfo>{{"Research", true, true, 1}}});
        break;
      case Request::Op::closeWindows:
      case Request::Op::bye:
        break;
    }
  };
  server.start(Corvana::socketPath());
  return loop.run();
}
