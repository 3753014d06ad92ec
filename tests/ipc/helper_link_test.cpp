// Both ends of the helper's socket, with real sockets and a time that stands still.
#include "core/ipc/helper_link.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/identity/corvana.h"
#include "core/ipc/socket_server.h"
#include "core/ipc/unix_socket.h"
#include "tests/fakes/fake_read_queue.h"
#include "tests/fakes/fake_scheduler.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/fakes/recording_log.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using State = HelperLink::State;

class IPCTest : public testing::Test {
 protected:
  IPCTest() { Corvana::ensureSupportDirectory(); }

  /// Lets everything happen that can happen without time passing.
  void settle() {
    for (int i = 0; i < 4; ++i) {
      queue.pump();
      scheduler.runPosted();
    }
  }

  support::TemporaryHome home;
  fakes::FakeScheduler scheduler;
  fakes::FakeReadQueue queue;
  fakes::FakeWorkspace workspace;
  fakes::RecordingLog log;
};

class HelperLinkTest : public IPCTest {
 protected:
  HelperLinkTest() {
    link->onStateChange = [this](State state) { states.push_back(state); };
    link->onEvent = [this](const Event& event) { events.push_back(event); };
  }

  /// The helper's side, by hand: listens, and accepts the link's connection.
  void listen() { listener = UnixSocket::listen(Corvana::socketPath(), 16); }
  void accept() {
    peer = UniqueFD(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    ASSERT_TRUE(peer);
  }
  void connect() {
    listen();
    link->connect(hello);
    accept();
    (void)received();
    states.clear();
  }
  std::vector<Request> received() {
    std::vector<Request> requests;
    char bytes[65'536];
    const ssize_t count = ::read(peer.get(), bytes, sizeof bytes);
    for (const std::string& frame : received_.append({bytes, count > 0 ? static_cast<std::size_t>(count) : 0})) {
      requests.push_back(decodeRequest(frame).value());
    }
    return requests;
  }
  void answer(const std::string& bytes) {
    ASSERT_EQ(::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    settle();
  }
  void request(Request::Op op, std::chrono::nanoseconds timeout = 5s) {
    link->request(op, timeout, nullptr, [this](const Response& response) {
      results.push_back(std::to_string(response.id) + " " + response.error.value_or("ok"));
    });
  }
  /// Lets time pass until the next attempt to connect has been made, and gives the time in milliseconds.
  double nextAttempt() {
    const auto start = scheduler.now();
    states.clear();
    while (states.empty()) scheduler.advance(1ms);
    return std::chrono::duration<double, std::milli>(scheduler.now() - start).count();
  }

  const Request hello{.id = 77, .op = Request::Op::hello, .profileName = "Work", .protocolVersion = 99};
  double jitter = 0;
  std::unique_ptr<HelperLink> link =
      std::make_unique<HelperLink>(scheduler, queue, workspace, [this] { return jitter; });
  UniqueFD listener;
  UniqueFD peer;
  LineBuffer received_{LineBuffer::standardLimit};
  std::vector<State> states;
  std::vector<Event> events;
  std::vector<std::string> results;
};

TEST_F(HelperLinkTest, EveryConnectionBeginsWithAHello) {
  listen();
  link->connect(hello);
  EXPECT_THAT(states, ElementsAre(State::connecting, State::connected));
  Request expected = hello;
  expected.protocolVersion = 2;
  accept();
  EXPECT_THAT(received(), ElementsAre(expected));

  peer = UniqueFD();
  settle();
  scheduler.advance(250ms);
  accept();
  EXPECT_THAT(received(), ElementsAre(expected));
  EXPECT_THAT(log.lines(), Contains("ipc default: stub connected to helper").Times(2));
}

TEST_F(HelperLinkTest, IsSaidToBeConnectedAfterItsUserKnows) {
  std::vector<std::string> linesBefore;
  link->onStateChange = [&](State state) {
    if (state == State::connected) linesBefore = log.lines();
  };
  connect();
  EXPECT_THAT(linesBefore, testing::Not(Contains("ipc default: stub connected to helper")));
  EXPECT_THAT(log.lines(), Contains("ipc default: stub connected to helper"));
}

TEST_F(HelperLinkTest, AnswersFindTheirRequestsInAnyOrder) {
  connect();
  request(Request::Op::activate);
  link->post(Request::Op::noteLaunch, [](Request& noteLaunch) { noteLaunch.profileDirectory = "D"; });
  request(Request::Op::status);
  const std::vector<Request> sent = received();
  ASSERT_EQ(sent.size(), 3);
  EXPECT_EQ(sent[1], (Request{.id = 2, .op = Request::Op::noteLaunch, .profileDirectory = "D"}));
  answer(
      "{\"id\":3,\"ok\":true}\nnonsense\n{\"event\":\"newKind\"}\n{\"id\":2,\"ok\":true}\n{\"id\":9,\"ok\":true}\n"
      "{\"id\":1,\"ok\":false,\"error\":\"no\"}\n{\"id\":1,\"ok\":true}\n");
  EXPECT_THAT(results, ElementsAre("3 ok", "1 no"));
  EXPECT_THAT(events, ElementsAre(Event{.event = Event::Kind::unknown}));
  EXPECT_THAT(log.lines(), Contains("ipc error: undecodable frame from helper").Times(1));
}

TEST_F(HelperLinkTest, EachCompletionRunsOnce) {
  request(Request::Op::status);
  EXPECT_THAT(results, ElementsAre("1 not connected")) << "before the call returns";
  connect();
  request(Request::Op::activate, 5s);
  request(Request::Op::status, 12s);
  scheduler.advance(4999ms);
  EXPECT_EQ(results.size(), 1);
  scheduler.advance(1ms);
  EXPECT_THAT(results.back(), "2 timed out");
  answer("{\"id\":2,\"ok\":true}\n");
  EXPECT_EQ(results.size(), 2) << "too late";

  request(Request::Op::status, 12s);
  peer = UniqueFD();
  settle();
  EXPECT_THAT(results, ElementsAre("1 not connected", "2 timed out", "3 helper disconnected", "4 helper disconnected"));
  EXPECT_THAT(states, ElementsAre(State::disconnected));
  scheduler.advance(60s);
  EXPECT_EQ(results.size(), 4);
}

TEST_F(HelperLinkTest, BacksOffAndLaunchesTheHelperOncePerSeries) {
  workspace.installed.emplace("app.corvana.helper", Corvana::installedHelperURL());
  link->connect(hello);
  EXPECT_EQ(workspace.launches.size(), 1);
  EXPECT_EQ(workspace.launches[0].file, Corvana::installedHelperURL());
  EXPECT_EQ(
      workspace.launches[0].configuration,
      (OpenConfiguration{.createsNewApplicationInstance = false, .activates = false, .addsToRecentItems = false}));
  for (const double expected : {250, 500, 1000, 2000, 4000, 8000, 10'000, 10'000}) EXPECT_EQ(nextAttempt(), expected);
  jitter = 1;
  (void)nextAttempt();  // was drawn before
  EXPECT_EQ(nextAttempt(), 12'500) << "at most a quarter more";
  EXPECT_EQ(workspace.launches.size(), 1);

  listen();
  (void)nextAttempt();
  EXPECT_EQ(link->state(), State::connected);
  listener = UniqueFD();
  (void)::unlink(Corvana::socketPath().c_str());
  settle();
  jitter = 0;
  (void)nextAttempt();
  EXPECT_EQ(workspace.launches.size(), 2) << "a success ends the series";
  EXPECT_EQ(nextAttempt(), 500) << "and the back-off";
}

TEST_F(HelperLinkTest, AFailedLaunchIsLoggedAndTriedNoMore) {
  workspace.openError = OpenError{"no memory"};
  link->connect(hello);
  workspace.deliverReports();
  EXPECT_THAT(log.lines(), Contains("ipc error: helper launch failed: no memory"));
  EXPECT_THAT(log.lines(), Contains("creator error: helper not installed and no creator bundle to copy it from"));
  EXPECT_EQ(nextAttempt(), 250);
}

TEST_F(HelperLinkTest, ShutdownSaysGoodbyeAndStaysDown) {
  connect();
  request(Request::Op::activate, 5s);
  (void)received();
  link->shutdown();
  EXPECT_THAT(states, ElementsAre(State::disconnected));
  EXPECT_THAT(received(), ElementsAre(Request{.id = 0, .op = Request::Op::bye}));
  EXPECT_THAT(results, IsEmpty());
  scheduler.advance(5s);
  EXPECT_THAT(results, ElementsAre("1 timed out"));
  scheduler.advance(60s);
  EXPECT_EQ(states.size(), 1);
  EXPECT_EQ(queue.watchCount(), 0) << "the connection is closed";

  link->connect(hello);
  EXPECT_EQ(link->state(), State::connected);
  link->connect(hello);
  EXPECT_THAT(states, ElementsAre(State::disconnected, State::connecting, State::connected)) << "it is up already";
}

TEST_F(HelperLinkTest, WhatALostConnectionLeftInTheBufferSpoilsTheNextFrameOnly) {
  connect();
  answer("{\"event\":\"wind");
  peer = UniqueFD();
  settle();
  scheduler.advance(250ms);
  accept();
  answer("{\"event\":\"shuttingDown\"}\n{\"event\":\"windows\"}\n");
  EXPECT_THAT(events, ElementsAre(Event{.event = Event::Kind::windows}));
}

TEST_F(HelperLinkTest, LateReportsOfAnEarlierConnectionDoNothing) {
  connect();
  const std::string event = "{\"event\":\"windows\"}\n";
  ASSERT_EQ(::send(peer.get(), event.data(), event.size(), 0), static_cast<ssize_t>(event.size()));
  peer = UniqueFD();
  queue.pump();  // the frame and the end are under way
  link->shutdown();
  link->connect(hello);
  scheduler.runPosted();
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(link->state(), State::connected);
}

TEST_F(HelperLinkTest, CallbacksMayDestroyOrRestartIt) {
  connect();
  for (int i = 0; i < 3; ++i) {
    link->request(Request::Op::status, 5s, nullptr, [this](const Response&) { link.reset(); });
  }
  peer = UniqueFD();
  settle();
  EXPECT_EQ(link, nullptr);
  EXPECT_EQ(scheduler.timerCount(), 0);

  link = std::make_unique<HelperLink>(scheduler, queue, workspace, [] { return 0.0; });
  link->onStateChange = [this](State state) {
    if (state == State::connecting) link.reset();
  };
  link->connect(hello);
  EXPECT_EQ(link, nullptr);

  link = std::make_unique<HelperLink>(scheduler, queue, workspace, [] { return 0.0; });
  link->onStateChange = [this](State state) {
    if (state == State::connecting) link->shutdown();
  };
  link->connect(hello);
  scheduler.advance(60s);
  EXPECT_EQ(link->state(), State::disconnected);

  link = std::make_unique<HelperLink>(scheduler, queue, workspace, [] { return 0.0; });
  link->connect(hello);
  link->request(Request::Op::status, 5s, nullptr, [this](const Response&) { link->connect(hello); });
  accept();
  peer = UniqueFD();
  settle();
  EXPECT_EQ(link->state(), State::connected);
  EXPECT_EQ(scheduler.timerCount(), 0) << "a connection that stands needs no retry";
}

TEST_F(HelperLinkTest, AnotherUsersSocketIsNotTheHelpers) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can listen as somebody else";
  for (auto folder = Corvana::supportDirectory(); folder != home.path().parent_path(); folder = folder.parent_path()) {
    std::filesystem::permissions(folder, std::filesystem::perms::all);
  }
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t impostor = ::fork();
  if (impostor == 0) {
    if (::setuid(65534) != 0) ::_exit(1);
    const UniqueFD socket = UnixSocket::listen(Corvana::socketPath(), 16);
    (void)!::write(ready[1], "x", 1);
    pollfd waiting{.fd = socket.get(), .events = POLLIN, .revents = 0};
    (void)::poll(&waiting, 1, -1);
    const UniqueFD client(::accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    char byte = 0;
    ::_exit(::read(client.get(), &byte, 1) == 0 ? 0 : 1);  // it was told nothing
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  link->connect(hello);
  EXPECT_THAT(states, ElementsAre(State::connecting, State::disconnected));
  int status = -1;
  EXPECT_EQ(::waitpid(impostor, &status, 0), impostor);
  EXPECT_EQ(status, 0);
}

class SocketServerTest : public IPCTest {
 protected:
  SocketServerTest() {
    server.onRequest = [this](const SocketServer::Client& client, const Request& request) {
      requests.push_back(request.id);
      if (request.profileDirectory) client->profileDirectory = request.profileDirectory;
      client->send(Response{.id = request.id, .ok = true});
    };
    server.onClientCountChanged = [this](std::size_t count) { counts.push_back(count); };
    server.start(path);
  }
  UniqueFD connect() { return UnixSocket::connect(path); }
  static void send(const UniqueFD& client, std::string_view bytes) {
    ASSERT_EQ(::send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  static std::string receive(const UniqueFD& client) {
    std::string bytes(65'536, '\0');
    const ssize_t count = ::read(client.get(), bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
  }

  const std::string path = Corvana::socketPath();
  SocketServer server{scheduler, queue};
  std::vector<std::int64_t> requests;
  std::vector<std::size_t> counts;
};

TEST_F(SocketServerTest, AdmitsABurstAndReportsEachEndOnce) {
  std::vector<UniqueFD> clients;
  for (int i = 0; i < 10; ++i) clients.push_back(connect());
  settle();
  EXPECT_EQ(server.connections().size(), 10);
  EXPECT_THAT(counts, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
  counts.clear();
  clients.resize(1);
  settle();
  settle();
  EXPECT_THAT(counts, ElementsAre(9, 8, 7, 6, 5, 4, 3, 2, 1));
  EXPECT_THAT(queue.pauses, testing::Each(ReadQueue::never)) << "an end is read once";
  EXPECT_EQ(queue.pauses.size(), 9);
  EXPECT_EQ(queue.watchCount(), 2) << "the listener and one client";
}

TEST_F(SocketServerTest, RequestsArriveInOrderAndBadFramesCostNoOther) {
  const UniqueFD client = connect();
  send(client, "{\"id\":1,\"op\":\"status\"}\n{\"id\":2,\"op\":\"fly\"}\n{\"id\":3,\"op\":\"status\"}\n{\"id\":4,");
  settle();
  send(client, "\"op\":\"bye\"}\n");
  settle();
  EXPECT_THAT(requests, ElementsAre(1, 3, 4));
  EXPECT_EQ(receive(client), "{\"id\":1,\"ok\":true}\n{\"id\":3,\"ok\":true}\n{\"id\":4,\"ok\":true}\n");
  EXPECT_THAT(log.lines(), Contains("ipc error: undecodable request frame").Times(1));
}

TEST_F(SocketServerTest, BroadcastsReachWhomThePredicateChooses) {
  const UniqueFD first = connect();
  const UniqueFD second = connect();
  send(second, "{\"id\":1,\"op\":\"hello\",\"profileDirectory\":\"Profile 2\"}\n");
  settle();
  (void)receive(second);
  const auto isSecond = [](const ClientConnection& client) { return client.profileDirectory == "Profile 2"; };
  server.broadcast(Event{.event = Event::Kind::shuttingDown}, isSecond);
  server.broadcast(Event{.event = Event::Kind::windows, .profileDirectory = "\xff"}, isSecond);
  server.broadcast(Event{.event = Event::Kind::windows}, [](const ClientConnection&) { return false; });
  EXPECT_EQ(receive(first), "");
  EXPECT_EQ(receive(second), "{\"event\":\"shuttingDown\"}\n");
}

TEST_F(SocketServerTest, AStoppedServerIsGoneAndCanStartAgain) {
  const UniqueFD client = connect();
  settle();
  counts.clear();
  send(client, "{\"id\":1,\"op\":\"status\"}\n");
  const UniqueFD waiting = connect();
  queue.pump();  // a request and a connection are under way
  server.stop(path);
  scheduler.runPosted();
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_THAT(requests, IsEmpty());
  EXPECT_THAT(counts, IsEmpty());
  EXPECT_EQ(queue.watchCount(), 0);
  EXPECT_EQ(receive(client), "");
  server.start(path);
  const UniqueFD again = connect();
  settle();
  EXPECT_THAT(counts, ElementsAre(1));
}

TEST_F(SocketServerTest, WhoeverKeepsAClientMayAnswerItTooLate) {
  std::vector<SocketServer::Client> closed;
  std::vector<SocketServer::Client> kept;
  server.onRequest = [&](const SocketServer::Client& client, const Request&) { kept.push_back(client); };
  server.onClientClosed = [&](const SocketServer::Client& client) { closed.push_back(client); };
  UniqueFD first = connect();
  settle();
  const int descriptor = queue.lastWatched();  // the server's end of the first one
  const UniqueFD second = connect();
  send(first, "{\"id\":1,\"op\":\"status\"}\n");
  send(second, "{\"id\":2,\"op\":\"status\"}\n");
  settle();
  ASSERT_EQ(kept.size(), 2);
  first = UniqueFD();
  settle();
  EXPECT_THAT(closed, ElementsAre(kept.front()));
  const UniqueFD file(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  const UniqueFD other(::fcntl(file.get(), F_DUPFD_CLOEXEC, descriptor));
  ASSERT_EQ(other.get(), descriptor) << "another file has the number now";
  EXPECT_FALSE(kept.front()->send(Response{.id = 1, .ok = true}));
  EXPECT_TRUE(kept.back()->send(Response{.id = 2, .ok = true}));
  EXPECT_EQ(receive(second), "{\"id\":2,\"ok\":true}\n");
  server.stop(path);
  EXPECT_FALSE(kept.back()->send(Response{.id = 3, .ok = true}));
  EXPECT_EQ(closed.size(), 1) << "nobody is told at a stop";
}

TEST_F(SocketServerTest, AClientThatIsKeptBeyondTheServerIsClosed) {
  SocketServer::Client kept;
  const std::string otherPath = (home.path() / "o.sock").string();
  auto other = std::make_unique<SocketServer>(scheduler, queue);
  other->onRequest = [&](const SocketServer::Client& client, const Request&) { kept = client; };
  other->start(otherPath);
  const UniqueFD client = UnixSocket::connect(otherPath);
  send(client, "{\"id\":1,\"op\":\"status\"}\n");
  settle();
  ASSERT_TRUE(kept);
  other.reset();
  EXPECT_EQ(queue.watchCount(), 1) << "only the listener of the test's own server";
  EXPECT_FALSE(kept->send(Response{.id = 1, .ok = true}));
}

TEST_F(SocketServerTest, AServerThatIsStoppedByAnEndCountsNoMore) {
  server.onClientClosed = [this](const SocketServer::Client&) { server.stop(path); };
  UniqueFD client = connect();
  settle();
  client = UniqueFD();
  settle();
  EXPECT_THAT(counts, ElementsAre(1));
}

TEST_F(SocketServerTest, AFloodIsReadAsFastAsItIsServed) {
  const UniqueFD client = connect();
  settle();
  const std::string frame = "{\"id\":1,\"op\":\"noteLaunch\",\"profileName\":\"" + std::string(1000, 'x') + "\"}\n";
  const UniqueFD flooding(::fcntl(client.get(), F_DUPFD_CLOEXEC, 0));
  std::size_t sent = 0;
  while (queue.pauses.empty()) {
    ASSERT_LT(sent, 100'000'000U) << "it is read without bound";
    const ssize_t count = ::send(flooding.get(), frame.data(), frame.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    queue.pump();
  }
  EXPECT_THAT(queue.pauses, ElementsAre(5ms));
  EXPECT_LT(sent, 2'000'000U);
  EXPECT_THAT(requests, IsEmpty());
  scheduler.runPosted();
  EXPECT_GT(requests.size(), 500U);
  queue.pauses.clear();
  queue.rearm();
  queue.pump();
  EXPECT_THAT(queue.pauses, IsEmpty()) << "served, it is read on";
}

TEST_F(SocketServerTest, AServerThatIsStoppedByARequestHandlesNoMore) {
  std::vector<SocketServer::Client> kept;
  server.onRequest = [&](const SocketServer::Client& client, const Request& request) {
    kept.push_back(client);
    requests.push_back(request.id);
    server.stop(path);
  };
  const UniqueFD client = connect();
  send(client, "{\"id\":1,\"op\":\"status\"}\n{\"id\":2,\"op\":\"status\"}\n");
  settle();
  EXPECT_THAT(requests, ElementsAre(1));
}

TEST_F(SocketServerTest, AConnectionThatIsResetHasEnded) {
  UniqueFD client = connect();
  settle();
  // What the peer has not read when it closes turns the end into an error (unix(7)).
  server.broadcast(Event{.event = Event::Kind::windows}, [](const ClientConnection&) { return true; });
  client = UniqueFD();
  settle();
  EXPECT_THAT(counts, ElementsAre(1, 0));
}

TEST_F(SocketServerTest, ADeadPeerIsNoHarmToTheSender) {
  UniqueFD client = connect();
  settle();
  client = UniqueFD();
  server.broadcast(Event{.event = Event::Kind::windows}, [](const ClientConnection&) { return true; });
  settle();
  EXPECT_THAT(counts, ElementsAre(1, 0));
}

TEST_F(SocketServerTest, WithoutDescriptorsTheListenerRests) {
  queue
      .pump();  // once before: the undefined-behaviour sanitizer takes descriptors to look at a type for the first time
  const UniqueFD client = connect();
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{.rlim_cur = static_cast<rlim_t>(client.get()), .rlim_max = before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  queue.pump();  // would go on for ever
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_THAT(queue.pauses, ElementsAre(100ms));
  ::setrlimit(RLIMIT_NOFILE, &none);
  queue.rearm();
  queue.pump();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_THAT(log.lines(), Contains(testing::HasSubstr("no proxy app can connect for now")).Times(1));
  settle();
  EXPECT_THAT(counts, IsEmpty());
  queue.rearm();
  settle();
  EXPECT_THAT(counts, ElementsAre(1));

  const UniqueFD later = connect();
  ::setrlimit(RLIMIT_NOFILE, &none);
  queue.pump();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_THAT(log.lines(), Contains(testing::HasSubstr("no proxy app can connect for now")).Times(2))
      << "once each time that it comes to this";
}

TEST_F(SocketServerTest, TakesMuchForAClientThatDoesNotRead) {
  const UniqueFD client = connect();
  settle();
  const auto bufferOf = [](int descriptor) {
    int bytes = 0;
    socklen_t length = sizeof bytes;
    EXPECT_EQ(::getsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &bytes, &length), 0);
    return bytes;
  };
  // The kernel doubles what is asked for, up to a limit of the system's.
  const int limit = std::stoi(support::readFile("/proc/sys/net/core/wmem_max"));
  EXPECT_EQ(bufferOf(queue.lastWatched()), 2 * std::min(4'194'304, limit));
}

TEST_F(SocketServerTest, OtherUsersAreRejected) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can connect as somebody else";
  constexpr int attempts = 100;
  std::filesystem::permissions(path, std::filesystem::perms::all);
  for (auto folder = std::filesystem::path(path).parent_path(); folder != home.path().parent_path();
       folder = folder.parent_path()) {
    std::filesystem::permissions(folder, std::filesystem::perms::all);
  }
  const pid_t child = ::fork();
  if (child == 0) {
    int connected = 0;
    if (::setuid(65534) == 0) {
      for (int i = 0; i < attempts; ++i) connected += UnixSocket::connect(path) ? 1 : 0;
    }
    ::_exit(connected);
  }
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) settle();
  ASSERT_EQ(WEXITSTATUS(status), attempts) << "the mode lets everybody connect";
  settle();
  EXPECT_THAT(counts, IsEmpty());
  EXPECT_THAT(log.lines(), Contains("ipc error: rejected connection from another uid").Times(attempts));
}

}  // namespace
}  // namespace corvana
