#include "creator/ipc_client.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <thread>

#include "core/ipc/framing.h"
#include "core/ipc/unix_socket.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;

TEST(IPCClient, GivesUpInTimeAlsoUnderAStreamOfEvents) {
  const support::TemporaryHome home;
  const std::string path = (home.path() / "h.sock").string();
  const UniqueFD listener = UnixSocket::listen(path, 16);
  const auto limit = std::chrono::steady_clock::now() + 10s;  // a client that does not give up is hung up on
  std::string events;  // more at once than is read at once, so that there always is something to read
  for (int i = 0; i < 10'000; ++i) events += frameFor(R"({"event":"windows"})");
  std::thread helper([&] {
    UniqueFD client;
    while (!client && std::chrono::steady_clock::now() < limit) {
      client = UniqueFD(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      std::this_thread::yield();
    }
    while (std::chrono::steady_clock::now() < limit && writeFrame(client.get(), events)) continue;
  });
  std::size_t frames = 0;
  const auto outcome =
      IPCClient::exchange(path, R"({"id":1,"op":"status"})", 50ms, false, [&](std::string_view) { ++frames; });
  helper.join();
  EXPECT_EQ(outcome, IPCClient::Outcome::timedOut);
  EXPECT_GT(frames, 0U);
}

}  // namespace
}  // namespace corvana
