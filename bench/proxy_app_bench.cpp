// Measures the proxy app against bare programs in the same run: the time from its start to its first request to the
// helper and to the browser's start, and the memory, wake-ups and processor time of idle instances. Wants a display and
// a session bus. Usage: proxy_app_bench [RUNS [IDLE_SECONDS]]

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/identity/corvana.h"
#include "core/ipc/socket_server.h"
#include "creator/proxy_app_builder.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "platform/process/unique_fd.h"

namespace {

namespace fs = std::filesystem;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int mostInstances = 50;

std::chrono::nanoseconds now() {
  return std::chrono::steady_clock::now().time_since_epoch();
}

/// A folder with a home directory in which the stand-in is the only browser, and proxy apps.
class Ground {
 public:
  Ground() {
    char name[] = "/tmp/corvana-bench.XXXXXX";
    if (::mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp failed");
    folder_ = name;
    fs::create_directories(folder_ / "data/applications");
    std::ofstream(folder_ / "data/applications/chromium.desktop")
        << "[Desktop Entry]\nType=Application\nName=Stand-in\nExec=\"" STAND_IN_BROWSER "\" " << fifo() << " %U\n";
    ::setenv("HOME", folder_.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (folder_ / "data").c_str(), 1);
    ::setenv("XDG_DATA_DIRS", "/nonexistent", 1);
    for (int i = 0; i < mostInstances; ++i) {
      corvana::ProxyAppBuilder::build(
          {.destination = folder_ / (std::to_string(i) + ".app"),
           .bundleID = "app.corvana." + std::to_string(i),
           .config = {.profileDirectory = "Profile " + std::to_string(i), .profileName = std::to_string(i)},
           .stubExecutable = CORVANA_STUB},
          false);
    }
    if (::mkfifo(fifo().c_str(), 0600) != 0) throw std::runtime_error("mkfifo failed");
    reader_ = corvana::UniqueFD(::open(fifo().c_str(), O_RDWR | O_CLOEXEC));
  }
  Ground(const Ground&) = delete;
  Ground& operator=(const Ground&) = delete;
  ~Ground() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  std::string fifo() const { return (folder_ / "started").string(); }
  std::string proxyApp(int number = 0) const {
    return (folder_ / (std::to_string(number) + ".app") / "Contents/MacOS/CorvanaStub").string();
  }

  /// The time that a program has written into the FIFO.
  std::chrono::nanoseconds reportedTime() const {
    std::chrono::nanoseconds time{};
    if (::read(reader_.get(), &time, sizeof time) != sizeof time) throw std::runtime_error("no program has reported");
    return time;
  }

 private:
  fs::path folder_;
  corvana::UniqueFD reader_;
};

/// The background helper on a thread of its own: sees windows, one for each proxy app.
class Helper {
 public:
  /// `report` has a FIFO into which the time of each hello is written; empty for none.
  explicit Helper(const std::string& report) {
    std::promise<corvana::EventLoop*> running;
    thread_ = std::thread([&running, report] { serve(running, report); });
    loop_ = running.get_future().get();
  }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;
  ~Helper() {
    loop_->post([loop = loop_] { loop->quit(0); });
    thread_.join();
  }

 private:
  static void serve(std::promise<corvana::EventLoop*>& running, const std::string& report) {
    using namespace corvana;
    Corvana::ensureSupportDirectory();
    EventLoop loop;
    ReadQueueLinux queue("app.corvana.ipc");
    SocketServer server(loop, queue);
    const UniqueFD fifo(report.empty() ? -1 : ::open(report.c_str(), O_WRONLY | O_CLOEXEC));
    server.onRequest = [&fifo](const SocketServer::Client& client, const Request& request) {
      if (request.op == Request::Op::activate) {
        return client->send(Response{.id = request.id, .ok = true, .action = Response::Action::raised});
      }
      if (request.op != Request::Op::hello) return;
      const std::chrono::nanoseconds time = now();
      if (fifo && ::write(fifo.get(), &time, sizeof time) != sizeof time) std::abort();
      client->send(Event{.event = Event::Kind::axPermission, .trusted = true});
      client->send(Event{.event = Event::Kind::windows,
                         .profileDirectory = request.profileDirectory,
                         .count = 1,
                         .confidence = CountConfidence::certain});
    };
    server.start(Corvana::socketPath());
    running.set_value(&loop);
    (void)loop.run();
    server.stop(Corvana::socketPath());
  }

  std::thread thread_;
  corvana::EventLoop* loop_ = nullptr;
};

/// A started program, its log discarded.
class Program {
 public:
  explicit Program(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    if (::posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
      throw std::runtime_error("cannot start " + command[0]);
    }
    ::posix_spawn_file_actions_destroy(&actions);
  }
  Program(Program&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  Program& operator=(Program&&) = delete;
  ~Program() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = 0;
};

double median(std::vector<double> values) {
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
  return values[values.size() / 2];
}

/// From the start of a program to what it, or somebody who has heard of it, reports.
double millisecondsToReport(const Ground& ground, const std::vector<std::string>& command) {
  const std::chrono::nanoseconds start = now();
  const Program program(command);
  return Milliseconds(ground.reportedTime() - start).count();
}

struct Memory {
  double pss = 0;
  double own = 0;
};

/// In KiB, from smaps_rollup (proc(5)).
Memory memoryOf(pid_t process) {
  Memory memory;
  std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
  for (std::string line; std::getline(file, line);) {
    const double kibibytes = std::atof(line.substr(line.find(':') + 1).c_str());
    if (line.starts_with("Pss:")) memory.pss = kibibytes;
    if (line.starts_with("Private_")) memory.own += kibibytes;
  }
  return memory;
}

/// How often all threads of a process have gone to sleep, and so were woken again, and its processor time.
struct Activity {
  long wakeUps = 0;
  double milliseconds = 0;
};

Activity activityOf(pid_t process) {
  Activity activity;
  for (const auto& thread : fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    std::ifstream status(thread.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("voluntary_ctxt_switches:")) activity.wakeUps += std::atol(line.substr(24).c_str());
    }
    double nanoseconds = 0;
    std::ifstream(thread.path() / "schedstat") >> nanoseconds;
    activity.milliseconds += nanoseconds / 1e6;
  }
  return activity;
}

/// Instances of one program; "#" in its command is the number of the instance.
class Instances {
 public:
  Instances(const std::vector<std::string>& command, int count) : name_(command[0]) {
    for (int i = 0; i < count; ++i) {
      std::vector<std::string> words = command;
      for (std::string& word : words) {
        if (const std::size_t place = word.find('#'); place != std::string::npos) {
          word.replace(place, 1, std::to_string(i));
        }
      }
      programs_.emplace_back(words);
    }
    std::this_thread::sleep_for(std::chrono::seconds(3));  // until all are idle
  }

  Memory meanMemory() const {
    Memory sum;
    for (const Program& program : programs_) {
      const Memory memory = memoryOf(program.pid());
      if (memory.pss == 0) throw std::runtime_error(name_ + " does not run; is there a display and a session bus?");
      sum.pss += memory.pss;
      sum.own += memory.own;
    }
    const auto count = static_cast<double>(programs_.size());
    return {sum.pss / count, sum.own / count};
  }

  Activity activity() const {
    Activity sum;
    for (const Program& program : programs_) {
      const Activity activity = activityOf(program.pid());
      sum.wakeUps += activity.wakeUps;
      sum.milliseconds += activity.milliseconds;
    }
    return sum;
  }

 private:
  std::string name_;
  std::vector<Program> programs_;
};

void compareTimes(const char* what, const Ground& ground, const std::vector<std::string>& bareCommand,
                  const std::vector<std::string>& command, int runs) {
  std::vector<double> bare;
  std::vector<double> proxyApp;
  for (int i = 0; i < runs; ++i) {  // in turns, so that both see the same machine
    bare.push_back(millisecondsToReport(ground, bareCommand));
    proxyApp.push_back(millisecondsToReport(ground, command));
  }
  std::printf("%s, median of %d: bare %.2f ms, proxy app %.2f ms, difference %.2f ms, ratio %.2f\n", what, runs,
              median(bare), median(proxyApp), median(proxyApp) - median(bare), median(proxyApp) / median(bare));
}

void compareMemory(const Ground& ground, int count) {
  std::printf("idle memory in KiB, mean of %d running, PSS and private:", count);
  const Memory bare = Instances({BARE_RESIDENT}, count).meanMemory();
  const Memory gApplication = Instances({EMPTY_GAPPLICATION, "app.corvana.bench.n#"}, count).meanMemory();
  std::string app = ground.proxyApp();
  app.replace(app.find("/0.app"), 2, "/#");
  const Memory proxyApp = Instances({app}, count).meanMemory();
  std::printf(" bare %.0f %.0f, empty GApplication %.0f %.0f, proxy app %.0f %.0f; ratio to bare %.2f %.2f\n", bare.pss,
              bare.own, gApplication.pss, gApplication.own, proxyApp.pss, proxyApp.own, proxyApp.pss / bare.pss,
              proxyApp.own / bare.own);
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  const int runs = argumentCount > 1 ? std::atoi(arguments[1]) : 200;
  const int idleSeconds = argumentCount > 2 ? std::atoi(arguments[2]) : 60;
  const Ground ground;
  std::printf("each proxy app's program is a %s\n",
              fs::hard_link_count(ground.proxyApp()) > 1 ? "link to the same file" : "copy of its own");

  compareTimes("start to the browser's", ground, {BARE_EXEC, STAND_IN_BROWSER, ground.fifo()}, {ground.proxyApp()},
               runs);
  {
    const Helper helper(ground.fifo());
    compareTimes("start to first request on the wire", ground, {BARE_RESIDENT, ground.fifo()}, {ground.proxyApp()},
                 runs);
  }
  const Helper helper("");
  for (const int count : {1, 8, mostInstances}) compareMemory(ground, count);

  std::string app = ground.proxyApp();
  app.replace(app.find("/0.app"), 2, "/#");
  const Instances connected({app}, 8);
  const Activity before = connected.activity();
  std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
  const Activity after = connected.activity();
  std::printf("8 connected proxy apps over %d idle seconds: %ld wake-ups, %.2f ms of processor time\n", idleSeconds,
              after.wakeUps - before.wakeUps, after.milliseconds - before.milliseconds);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "proxy_app_bench: %s\n", error.what());
  return 1;
}
