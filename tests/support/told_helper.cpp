// Stands in for the background helper, as a test tells it: serves the real socket under the real lock, prints each
// request as one line of JSON, and sends each line that it reads, a response or an event, to all proxy apps.

#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/identity/corvana.h"
#include "core/ipc/framing.h"
#include "core/ipc/single_instance_lock.h"
#include "core/ipc/socket_server.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"

int main() {
  using namespace corvana;
  constexpr std::size_t longestLine = 1 << 20;
  ::alarm(300);  // outlives no test by long
  Corvana::ensureSupportDirectory();
  SingleInstanceLock lock;
  if (!lock.acquire(Corvana::lockURL())) return 3;
  EventLoop loop;
  ReadQueueLinux queue("app.corvana.ipc");
  SocketServer server(loop, queue);
  server.onRequest = [](const SocketServer::Client&, const Request& request) {
    std::printf("%s\n", encodeMessage(request).value().c_str());
    std::fflush(stdout);
  };
  server.start(Corvana::socketPath());
  std::puts("{\"op\":\"ready\"}");
  std::fflush(stdout);

  LineBuffer lines(longestLine);
  const Watch input = loop.whenReadable(STDIN_FILENO, [&] {
    char bytes[4096];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) return loop.quit(0);
    for (const std::string& line : lines.append({bytes, static_cast<std::size_t>(count)})) {
      const auto message = InboundMessage::decode(line);
      if (!message) return loop.quit(2);
      std::visit([&](const auto& content) { server.broadcast(content, [](const ClientConnection&) { return true; }); },
                 message->content);
    }
  });
  return loop.run();
}
