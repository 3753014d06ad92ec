// Measures the proxy app against bare programs in the same run: the time from its start to the browser's, and the
// memory of idle instances. Wants a display and a session bus, for the bare resident program. Usage: proxy_app_bench
// [RUNS]

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
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "creator/proxy_app_builder.h"
#include "platform/unique_fd.h"

namespace {

namespace fs = std::filesystem;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// A folder with a home directory in which the stand-in is the only browser, and a proxy app.
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
    corvana::ProxyAppBuilder::build({.destination = folder_ / "Bench.app",
                                     .bundleID = "app.corvana.000000000000",
                                     .config = {.profileDirectory = "Default", .profileName = "Default"},
                                     .stubExecutable = CORVANA_STUB},
                                    false);
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
  std::string proxyApp() const { return (folder_ / "Bench.app/Contents/MacOS/CorvanaStub").string(); }

  /// When the stand-in that was started last ran.
  std::chrono::nanoseconds browserStart() const {
    std::chrono::nanoseconds time{};
    if (::read(reader_.get(), &time, sizeof time) != sizeof time) throw std::runtime_error("no stand-in answered");
    return time;
  }

 private:
  fs::path folder_;
  corvana::UniqueFD reader_;
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

double millisecondsToBrowser(const Ground& ground, const std::vector<std::string>& command) {
  const std::chrono::nanoseconds start = std::chrono::steady_clock::now().time_since_epoch();
  const Program program(command);
  return Milliseconds(ground.browserStart() - start).count();
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

/// The mean of `count` instances that have been idle for a while.
Memory meanMemory(const std::vector<std::string>& command, int count) {
  std::vector<Program> programs;
  for (int i = 0; i < count; ++i) programs.emplace_back(command);
  std::this_thread::sleep_for(std::chrono::seconds(2));
  Memory sum;
  for (const Program& program : programs) {
    const Memory memory = memoryOf(program.pid());
    if (memory.pss == 0) throw std::runtime_error(command[0] + " does not run; is there a display and a session bus?");
    sum.pss += memory.pss / count;
    sum.own += memory.own / count;
  }
  return sum;
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  const int runs = argumentCount > 1 ? std::atoi(arguments[1]) : 200;
  const Ground ground;

  std::vector<double> bare;
  std::vector<double> proxyApp;
  for (int i = 0; i < runs; ++i) {  // in turns, so that both see the same machine
    bare.push_back(millisecondsToBrowser(ground, {BARE_EXEC, STAND_IN_BROWSER, ground.fifo()}));
    proxyApp.push_back(millisecondsToBrowser(ground, {ground.proxyApp()}));
  }
  std::printf("start to browser, median of %d: bare exec %.2f ms, proxy app %.2f ms, difference %.2f ms, ratio %.2f\n",
              runs, median(bare), median(proxyApp), median(proxyApp) - median(bare), median(proxyApp) / median(bare));

  for (const int count : {1, 8}) {
    const Memory resident = meanMemory({BARE_RESIDENT}, count);
    const Memory app = meanMemory({ground.proxyApp()}, count);
    std::printf(
        "idle memory, mean of %d running: PSS bare %.0f KiB, proxy app %.0f KiB, ratio %.2f; private bare %.0f "
        "KiB, proxy app %.0f KiB, ratio %.2f\n",
        count, resident.pss, app.pss, app.pss / resident.pss, resident.own, app.own, app.own / resident.own);
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "proxy_app_bench: %s\n", error.what());
  return 1;
}
