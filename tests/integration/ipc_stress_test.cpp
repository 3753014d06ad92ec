// Many connections at once, with the system's own main loop and threads. The thread sanitizer looks on in its preset.
// CORVANA_STRESS in the environment multiplies the rounds.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

#include "core/identity/corvana.h"
#include "core/ipc/helper_link.h"
#include "core/ipc/socket_server.h"
#include "core/ipc/unix_socket.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/stress.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using support::rounds;

std::size_t openDescriptors() {
  const auto listing = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(listing), end(listing)));
}

/// Connects, also when server and clients together have used up the process's descriptors for a while.
UniqueFD connectPatiently() {
  while (true) {
    try {
      return UnixSocket::connect(Corvana::socketPath());
    } catch (const SocketError&) {
      std::this_thread::yield();
    }
  }
}

/// A server in full operation, and a client that holds the number of clients above zero until the end.
class Stress : public testing::Test {
 protected:
  Stress() {
    Corvana::ensureSupportDirectory();
    server.onRequest = [this](const SocketServer::Client& client, const Request& request) {
      ++requests;
      client->send(Response{.id = request.id, .ok = true});
      if (request.id % 16 == 0) {
        server.broadcast(Event{.event = Event::Kind::windows}, [](const ClientConnection&) { return true; });
      }
    };
    server.onClientCountChanged = [this](std::size_t count) {
      zeros += count == 0 ? 1 : 0;
      if (count == 0) loop.post([this] { loop.quit(0); });
    };
    server.start(Corvana::socketPath());
  }

  /// Runs `work` in threads of clients, and the server until the last client has gone.
  void serve(int threadCount, const std::function<void(int)>& work) {
    UniqueFD keeper = UnixSocket::connect(Corvana::socketPath());
    std::atomic<int> running = threadCount;
    std::vector<std::thread> threads;
    // It reads what is broadcast, or the server would wait for it.
    threads.emplace_back([&] {
      char bytes[65'536];
      while (running > 0) {
        if (::read(keeper.get(), bytes, sizeof bytes) <= 0) std::this_thread::yield();
      }
      // Connections are accepted in their order: once this one is answered, no other waits.
      const UniqueFD last = connectPatiently();
      (void)writeFrame(last.get(), R"({"id":1,"op":"bye"})");
      while (::read(last.get(), bytes, sizeof bytes) <= 0) {
        (void)!::read(keeper.get(), bytes, sizeof bytes);
        std::this_thread::yield();
      }
      keeper = UniqueFD();
    });
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
        work(i);
        --running;
      });
    }
    loop.run();
    for (std::thread& thread : threads) thread.join();
  }

  support::TemporaryHome home;
  fakes::RecordingLog log;
  EventLoop loop;
  ReadQueueLinux queue{"app.corvana.ipc"};
  SocketServer server{loop, queue};
  int requests = 0;
  int zeros = 0;
};

TEST_F(Stress, PeersThatDieAnywhereLeaveNothingBehind) {
  const std::string stream = R"({"id":1,"op":"status"})"
                             "\n"
                             R"({"id":16,"op":"listTabGroups"})"
                             "\n"
                             R"({"id":3,"op":"bye"})";
  // A proxy app asks one thing after another meanwhile.
  ReadQueueLinux linkQueue("app.corvana.link");
  fakes::FakeWorkspace workspace;
  HelperLink link(loop, linkQueue, workspace);
  link.connect({.op = Request::Op::hello});
  int asked = 0;
  int completed = 0;
  std::function<void()> ask = [&] {
    if (asked == rounds(1000)) return link.shutdown();
    ++asked;
    link.request(Request::Op::status, std::chrono::seconds(60), nullptr, [&](const Response& response) {
      ++completed;
      EXPECT_TRUE(response.ok) << response.error.value_or("");
      loop.post(ask);
    });
  };
  loop.post(ask);
  const std::size_t before = openDescriptors();
  serve(2, [&](int seed) {
    std::mt19937 random(static_cast<unsigned>(seed));
    for (int i = 0; i < rounds(5000); ++i) {
      const UniqueFD peer = connectPatiently();
      const std::size_t length = std::uniform_int_distribution<std::size_t>(0, stream.size())(random);
      (void)::send(peer.get(), stream.data(), length, MSG_NOSIGNAL);
    }
  });
  EXPECT_EQ(completed, rounds(1000));
  EXPECT_EQ(zeros, 1);
  EXPECT_GT(requests, rounds(5000));
  EXPECT_TRUE(server.connections().empty());
  const std::string path = Corvana::socketPath();
  server.stop(path);
  server.start(path);  // the queue is serial: when this is watched, all before is closed
  server.stop(path);
  while (openDescriptors() >= before) std::this_thread::yield();
}

TEST_F(Stress, RequestsAreAnsweredWhileOthersComeAndGo) {
  std::atomic<int> answered = 0;
  serve(4, [&](int) {
    for (int i = 1; i <= rounds(2500); ++i) {
      const UniqueFD client = connectPatiently();
      (void)writeFrame(client.get(), R"({"id":)" + std::to_string(i) + R"(,"op":"status"})");
      LineBuffer buffer(LineBuffer::standardLimit);
      bool isAnswered = false;
      while (!isAnswered) {
        char bytes[4096];
        const ssize_t count = ::read(client.get(), bytes, sizeof bytes);
        if (count < 0) std::this_thread::yield();
        for (const std::string& frame : buffer.append({bytes, count > 0 ? static_cast<std::size_t>(count) : 0})) {
          const auto message = InboundMessage::decode(frame);
          const auto* response = message ? std::get_if<Response>(&message->content) : nullptr;
          isAnswered = isAnswered || (response != nullptr && response->id == i);
        }
      }
      ++answered;
    }
  });
  EXPECT_EQ(answered, 4 * rounds(2500));
  EXPECT_EQ(requests, 4 * rounds(2500) + 1) << "with that of the last connection";
  EXPECT_EQ(zeros, 1);
}

}  // namespace
}  // namespace corvana
