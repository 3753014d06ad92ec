// Measures the helper's protocol beside the least that the same exchange can cost, and beside the session bus, which
// desktop programs use for the like. Everything runs on one processor: across two, the figures are mostly the time that
// the machine takes to wake an idle one.
// Usage: ipc_bench [ROUND_TRIPS]

#include <gio/gio.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/identity/corvana.h"
#include "core/ipc/helper_link.h"
#include "core/ipc/socket_server.h"
#include "core/ipc/unix_socket.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "tests/support/private_bus.h"

namespace {

using namespace corvana;
using namespace std::chrono_literals;

const Request question{.id = 123, .op = Request::Op::status, .profileDirectory = "Profile 1"};
const Response answer{.id = 123, .ok = true, .action = Response::Action::raised, .chromePID = 4711};
const std::string questionFrame = frameFor(*encodeMessage(question));
const std::string answerFrame = frameFor(*encodeMessage(answer));

double now() {
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double cpuOf(const rusage& usage) {
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

/// A process that serves one kind of exchange until it is ended.
class Server {
 public:
  explicit Server(const std::function<void(int ready)>& serve) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("pipe failed");
    pid_ = ::fork();
    if (pid_ == 0) {
      serve(ends[1]);
      ::_exit(0);
    }
    ::close(ends[1]);
    char byte = 0;
    if (::read(ends[0], &byte, 1) != 1) throw std::runtime_error("a server did not start");
    ::close(ends[0]);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() { (void)end(); }

  /// Ends it; gives the processor time that it took, in microseconds.
  double end() {
    if (pid_ <= 0) return 0;
    rusage usage{};
    ::kill(pid_, SIGKILL);
    ::wait4(std::exchange(pid_, 0), nullptr, 0, &usage);
    return cpuOf(usage);
  }
  static void tellReady(int ready) { (void)!::write(ready, "x", 1); }

 private:
  pid_t pid_ = 0;
};

struct Figures {
  double p50 = 0;
  double p99 = 0;
};

/// The times of `count` exchanges, in microseconds.
Figures figuresOf(std::vector<double> times) {
  std::ranges::sort(times);
  return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

Figures measure(int count, const std::function<void()>& exchange) {
  for (int i = 0; i < count / 10; ++i) exchange();  // warm up
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const double start = now();
    exchange();
    times.push_back(now() - start);
  }
  return figuresOf(std::move(times));
}

void readExactly(int descriptor, std::size_t size) {
  char bytes[4096];
  for (std::size_t got = 0; got < size;) {
    const ssize_t count = ::read(descriptor, bytes, std::min(sizeof bytes, size - got));
    if (count <= 0) ::_exit(0);
    got += static_cast<std::size_t>(count);
  }
}

void sendExactly(int descriptor, const std::string& bytes) {
  if (::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) ::_exit(0);
}

/// A connection that is read by a thread of its own, which only tells the main thread that something has come.
class ThreadedPeer {
 public:
  ThreadedPeer(int descriptor, std::size_t size)
      : descriptor_(descriptor), size_(size), event_(::eventfd(0, EFD_CLOEXEC)) {
    std::thread([this] {
      const std::uint64_t one = 1;
      while (true) {
        readExactly(descriptor_, size_);
        (void)!::write(event_, &one, sizeof one);
      }
    }).detach();
  }
  void await() const {
    std::uint64_t count = 0;
    (void)!::read(event_, &count, sizeof count);
  }

 private:
  int descriptor_;
  std::size_t size_;
  int event_;
};

Figures barePingPong(int count, bool hasReaderThreads) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair failed");
  const Server server([&](int ready) {
    Server::tellReady(ready);
    std::optional<ThreadedPeer> peer;
    if (hasReaderThreads) peer.emplace(ends[1], questionFrame.size());
    while (true) {
      peer ? peer->await() : readExactly(ends[1], questionFrame.size());
      sendExactly(ends[1], answerFrame);
    }
  });
  static std::vector<std::unique_ptr<ThreadedPeer>> peers;  // their threads end with the process
  ThreadedPeer* peer = nullptr;
  if (hasReaderThreads) {
    peers.push_back(std::make_unique<ThreadedPeer>(ends[0], answerFrame.size()));
    peer = peers.back().get();
  }
  return measure(count, [&] {
    sendExactly(ends[0], questionFrame);
    peer != nullptr ? peer->await() : readExactly(ends[0], answerFrame.size());
  });
}

void serveHelper(int ready) {
  EventLoop loop;
  ReadQueueLinux queue("app.corvana.ipc");
  SocketServer server(loop, queue);
  server.onRequest = [](const SocketServer::Client& client, const Request& request) {
    if (request.op != Request::Op::status) return;
    Response response = answer;
    response.id = request.id;
    client->send(response);
  };
  server.start(Corvana::socketPath());
  Server::tellReady(ready);
  loop.run();
}

/// A proxy app's end.
struct Client {
  EventLoop loop;
  ReadQueueLinux queue{"app.corvana.link"};
  LaunchContext context{"app.corvana.bench"};
  WorkspaceLinux workspace{loop, context};
  HelperLink link{loop, queue, workspace};

  Client() {
    link.connect({.op = Request::Op::hello});
    loop.runUntil([this] { return link.state() == HelperLink::State::connected; });
  }
  void request(std::function<void()> done) {
    link.request(
        Request::Op::status, 5s, [](Request& request) { request.profileDirectory = "Profile 1"; },
        [done = std::move(done)](const Response&) { done(); });
  }
};

Figures helperRoundTrip(int count) {
  const Server server(serveHelper);
  Client client;
  return measure(count, [&] {
    bool isDone = false;
    client.request([&] { isDone = true; });
    client.loop.runUntil([&] { return isDone; });
  });
}

void helperPipelined(int count) {
  constexpr int window = 64;
  Server server(serveHelper);
  Client client;
  rusage before{};
  ::getrusage(RUSAGE_SELF, &before);
  const double start = now();
  int sent = 0;
  int answered = 0;
  std::function<void()> next = [&] {
    ++answered;
    if (sent < count) {
      ++sent;
      client.request(next);
    }
  };
  for (; sent < window; ++sent) client.request(next);
  client.loop.runUntil([&] { return answered == count; });
  const double elapsed = now() - start;
  rusage after{};
  ::getrusage(RUSAGE_SELF, &after);
  const double cpu = cpuOf(after) - cpuOf(before) + server.end();
  std::printf("pipelined, %d under way: %.0f requests answered a second, %.2f us of processor time a message\n", window,
              count / elapsed * 1e6, cpu / (2.0 * count));
}

constexpr const char* busName = "app.corvana.bench";

Figures sdBusRoundTrip(int count) {
  const Server server([](int ready) {
    sd_bus* bus = nullptr;
    static const sd_bus_vtable table[] = {SD_BUS_VTABLE_START(0),
                                          SD_BUS_METHOD(
                                              "Ask", "s", "s",
                                              [](sd_bus_message* call, void*, sd_bus_error*) {
                                                const char* text = nullptr;
                                                (void)::sd_bus_message_read(call, "s", &text);
                                                return ::sd_bus_reply_method_return(call, "s", answerFrame.c_str());
                                              },
                                              0),
                                          SD_BUS_VTABLE_END};
    if (::sd_bus_open_user(&bus) < 0 || ::sd_bus_request_name(bus, busName, 0) < 0) return;
    (void)::sd_bus_add_object_vtable(bus, nullptr, "/bench", busName, table, nullptr);
    Server::tellReady(ready);
    while (true) {
      const int handled = ::sd_bus_process(bus, nullptr);
      if (handled < 0) return;
      if (handled == 0) (void)::sd_bus_wait(bus, UINT64_MAX);
    }
  });
  sd_bus* bus = nullptr;
  if (::sd_bus_open_user(&bus) < 0) throw std::runtime_error("no session bus");
  const Figures figures = measure(count, [bus] {
    sd_bus_message* reply = nullptr;
    const char* text = nullptr;
    if (::sd_bus_call_method(bus, busName, "/bench", busName, "Ask", nullptr, &reply, "s", questionFrame.c_str()) < 0 ||
        ::sd_bus_message_read(reply, "s", &text) < 0) {
      throw std::runtime_error("sd-bus call failed");
    }
    ::sd_bus_message_unref(reply);
  });
  ::sd_bus_flush_close_unref(bus);
  return figures;
}

Figures gdbusRoundTrip(int count) {
  const Server server([](int ready) {
    static const GDBusInterfaceVTable table = {
        [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*, GDBusMethodInvocation* call,
           void*) { ::g_dbus_method_invocation_return_value(call, ::g_variant_new("(s)", answerFrame.c_str())); },
        nullptr,
        nullptr,
        {}};
    GDBusNodeInfo* node = ::g_dbus_node_info_new_for_xml(
        "<node><interface name='app.corvana.bench'><method name='Ask'><arg type='s' direction='in'/>"
        "<arg type='s' direction='out'/></method></interface></node>",
        nullptr);
    GDBusConnection* bus = ::g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (bus == nullptr) return;
    (void)::g_dbus_connection_register_object(bus, "/bench", node->interfaces[0], &table, nullptr, nullptr, nullptr);
    static int readyDescriptor = ready;
    (void)::g_bus_own_name_on_connection(
        bus, busName, G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection*, const char*, void*) { Server::tellReady(readyDescriptor); }, nullptr, nullptr, nullptr);
    ::g_main_loop_run(::g_main_loop_new(nullptr, FALSE));
  });
  GDBusConnection* bus = ::g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (bus == nullptr) throw std::runtime_error("no session bus");
  return measure(count, [bus] {
    GVariant* reply = ::g_dbus_connection_call_sync(bus, busName, "/bench", busName, "Ask",
                                                    ::g_variant_new("(s)", questionFrame.c_str()), nullptr,
                                                    G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) throw std::runtime_error("GDBus call failed");
    ::g_variant_unref(reply);
  });
}

void broadcastToMany() {
  constexpr int clientCount = 1000;
  constexpr int broadcasts = 200;
  EventLoop loop;
  ReadQueueLinux queue("app.corvana.ipc");
  SocketServer server(loop, queue);
  server.start(Corvana::socketPath());
  std::vector<UniqueFD> clients;
  std::vector<UniqueFD> bareSenders;
  std::vector<UniqueFD> bareReceivers;
  for (int i = 0; i < clientCount; ++i) {
    clients.push_back(UnixSocket::connect(Corvana::socketPath()));
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
      throw std::runtime_error("socketpair failed");
    }
    bareSenders.emplace_back(ends[0]);
    bareReceivers.emplace_back(ends[1]);
  }
  loop.runUntil([&] { return server.connections().size() == clientCount; });

  const Event event{.event = Event::Kind::windows,
                    .profileDirectory = "Profile 1",
                    .count = 3,
                    .chromeRunning = true,
                    .confidence = CountConfidence::certain};
  const std::string frame = frameFor(*encodeMessage(event));
  const auto drain = [&](const std::vector<UniqueFD>& descriptors) {
    for (const UniqueFD& descriptor : descriptors) readExactly(descriptor.get(), frame.size());
  };
  std::vector<double> product;
  std::vector<double> bare;
  for (int i = 0; i < broadcasts; ++i) {
    double start = now();
    server.broadcast(event, [](const ClientConnection&) { return true; });
    product.push_back(now() - start);
    drain(clients);
    start = now();
    for (const UniqueFD& sender : bareSenders) sendExactly(sender.get(), frame);
    bare.push_back(now() - start);
    drain(bareReceivers);
  }
  const double own = figuresOf(product).p50;
  const double limit = figuresOf(bare).p50;
  std::printf("broadcast to %d clients: %.0f us, bare sends of the ready bytes %.0f us, ratio %.2f\n", clientCount, own,
              limit, own / limit);
  server.stop(Corvana::socketPath());
}

void coding() {
  constexpr int count = 500'000;
  const Request hello{.id = 1,
                      .op = Request::Op::hello,
                      .profileDirectory = "Profile 1",
                      .profileName = "Work",
                      .tabGroup = "Research",
                      .bundleID = "app.corvana.0123456789ab",
                      .pid = 12345,
                      .protocolVersion = 2,
                      .includeIncognito = true,
                      .countAppWindows = false,
                      .ownWindow = true,
                      .stubRevision = 7};
  const std::string text = *encodeMessage(hello);
  double start = now();
  std::size_t sum = 0;
  for (int i = 0; i < count; ++i) sum += decodeRequest(text)->profileName->size();
  const double decoding = (now() - start) / count;
  start = now();
  for (int i = 0; i < count; ++i) sum += encodeMessage(answer)->size();
  const double encoding = (now() - start) / count;

  start = now();
  LineBuffer buffer(LineBuffer::standardLimit);
  std::string manyFrames;
  while (manyFrames.size() < LineBuffer::standardLimit) manyFrames += "x\n";
  sum += buffer.append(manyFrames).size();
  const double cutting = now() - start;
  std::printf("a hello decoded in %.2f us, an answer encoded in %.2f us; 4 MiB of one-byte frames cut in %.0f ms%s\n",
              decoding, encoding, cutting / 1000, sum == 0 ? " (nothing was done)" : "");
}

void print(const char* name, const Figures& figures, double reference) {
  std::printf("  %-44s p50 %6.2f us, p99 %6.2f us (%.2f times p50); helper's p50 is %.2f times this\n", name,
              figures.p50, figures.p99, figures.p99 / figures.p50, reference / figures.p50);
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  const int count = argumentCount > 1 ? std::atoi(arguments[1]) : 20'000;
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(0, &one);
  if (::sched_setaffinity(0, sizeof one, &one) != 0) throw std::runtime_error("cannot stay on one processor");
  const rlimit manyFiles{.rlim_cur = 4096, .rlim_max = 4096};
  (void)::setrlimit(RLIMIT_NOFILE, &manyFiles);
  char home[] = "/tmp/corvana-bench.XXXXXX";
  if (::mkdtemp(home) == nullptr) throw std::runtime_error("mkdtemp failed");
  ::setenv("HOME", home, 1);
  Corvana::ensureSupportDirectory();

  {
    const support::PrivateBus bus;  // on the same processor
    // In this order, because a process that has had GDBus's threads is no fair ground for the others.
    const Figures bare = barePingPong(count, false);
    const Figures threaded = barePingPong(count, true);
    const Figures helper = helperRoundTrip(count);
    const Figures sdBus = sdBusRoundTrip(count);
    const Figures gdbus = gdbusRoundTrip(count);
    std::printf("round trip, %d times on one processor:\n", count);
    print("bare bytes, blocking", bare, helper.p50);
    print("bare bytes, reader and main thread each side", threaded, helper.p50);
    print("helper: request and answer", helper, helper.p50);
    print("session bus, sd-bus", sdBus, helper.p50);
    print("session bus, GDBus", gdbus, helper.p50);
  }
  helperPipelined(count * 5);
  broadcastToMany();
  coding();
  std::filesystem::remove_all(home);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "ipc_bench: %s\n", error.what());
  return 1;
}
