// The same contract for the desktop's applications and for their fake.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>

#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/property_list.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/process/sockets.h"
#include "tests/fakes/fake_workspace.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using support::readFile;
using support::TemporaryHome;

constexpr std::string_view chrome = "com.google.Chrome";

/// The strings of a file that the recorder wrote.
std::vector<std::string> itemsOf(const std::filesystem::path& file) {
  std::vector<std::string> items;
  std::istringstream content(readFile(file));
  for (std::string item; std::getline(content, item, '\0');) items.push_back(item);
  return items;
}

class RealDesktop {
 public:
  void install(const std::string& mode = "exit:0") {
    home.writeDesktopEntry("google-chrome.desktop",
                           quotedForExec(RECORDER) + " " + quotedForExec(home.path().string()) + " " + mode + " %U");
  }
  /// Always in the same place, with an entry of its own.
  std::filesystem::path installBundle(const std::string& identifier) {
    home.write("Work.app/Contents/Info.plist", PropertyList::xml({{"CFBundleIdentifier", {identifier}},
                                                                  {"CFBundleExecutable", {std::string("Work")}}}));
    home.writeDesktopEntry(identifier + ".desktop", "/bin/true",
                           "X-Corvana-Bundle=" + (home.path() / "Work.app").string() + "\n");
    return home.path() / "Work.app";
  }
  std::vector<std::string> lastArguments() { return itemsOf(home.path() / "arguments"); }
  /// Opens and waits for the report.
  std::optional<OpenError> open(const std::filesystem::path& file, const OpenConfiguration& configuration) {
    EventLoop loop;
    LaunchContext context{"app.corvana.test"};
    WorkspaceLinux desktop(loop, context, startUpTime);
    std::optional<OpenError> result;
    int reports = 0;
    bool isInside = true;
    desktop.openApplication(file, configuration, [&](std::optional<OpenError> error) {
      EXPECT_FALSE(isInside) << "reported inside the call";
      ++reports;
      result = std::move(error);
      loop.post([&] { loop.quit(0); });
    });
    isInside = false;
    loop.run();
    EXPECT_EQ(reports, 1);
    return result;
  }
  Workspace& workspace() { return workspace_; }

  /// Prepares for `awaitProgram`, which gives the process id of a recorder once it has recorded everything.
  void expectProgram() {
    ::mkfifo((home.path() / "ready").c_str(), 0600);
    startUpTime = 10ms;  // it stays, so nothing more is to come
  }
  pid_t awaitProgram() const { return std::stoi(readFile(home.path() / "ready")); }

  TemporaryHome home;
  std::chrono::milliseconds startUpTime{10'000};

 private:
  EventLoop loop_;
  LaunchContext context_{"app.corvana.test"};
  WorkspaceLinux workspace_{loop_, context_};
};

class FakeDesktop {
 public:
  void install() { workspace_.installed.emplace(chrome, "/Applications/Chrome"); }
  std::filesystem::path installBundle(const std::string& identifier) {
    workspace_.install(identifier, "/Applications/Work.app");
    return "/Applications/Work.app";
  }
  std::vector<std::string> lastArguments() { return workspace_.launches.back().configuration.arguments; }
  std::optional<OpenError> open(const std::filesystem::path& file, const OpenConfiguration& configuration) {
    std::vector<std::optional<OpenError>> reports;
    workspace_.openApplication(file, configuration, [&](auto error) { reports.push_back(std::move(error)); });
    EXPECT_TRUE(reports.empty()) << "reported inside the call";
    workspace_.deliverReports();
    EXPECT_EQ(reports.size(), 1);
    return reports.at(0);
  }
  Workspace& workspace() { return workspace_; }

 private:
  fakes::FakeWorkspace workspace_;
};

template <class Desktop>
class WorkspaceContract : public testing::Test, protected Desktop {};
using Desktops = testing::Types<RealDesktop, FakeDesktop>;
TYPED_TEST_SUITE(WorkspaceContract, Desktops);

TYPED_TEST(WorkspaceContract, KnowsWhatIsInstalled) {
  EXPECT_EQ(this->workspace().urlForApplication(chrome), std::nullopt);
  EXPECT_EQ(this->workspace().urlForApplication("org.example.nothing"), std::nullopt);
  EXPECT_TRUE(this->workspace().runningApplications(chrome).empty());
  this->install();
  EXPECT_NE(this->workspace().urlForApplication(chrome), std::nullopt);
}

TYPED_TEST(WorkspaceContract, DoesNotTakeAnotherApplicationForOneThatHasGone) {
  const auto place = this->installBundle("app.corvana.1");
  EXPECT_EQ(this->workspace().urlForApplication("app.corvana.1"), place);
  this->installBundle("app.corvana.2");
  EXPECT_EQ(this->workspace().urlForApplication("app.corvana.1"), std::nullopt);
  EXPECT_EQ(this->workspace().urlForApplication("app.corvana.2"), place);
}

TYPED_TEST(WorkspaceContract, PassesArgumentsByteForByte) {
  this->install();
  const std::vector<std::string> arguments = {"--profile-directory=Profile 1",
                                              "http://127.0.0.1/a b\"c'd`e\\f",
                                              "http://127.0.0.1/%f%U%c3%%",
                                              "http://127.0.0.1/?a&b;c|d>e$(touch x)$HOME*~",
                                              "",
                                              "line\nfeed\ttab",
                                              "\xff\xfe ünïcode"};
  const auto error = this->open(*this->workspace().urlForApplication(chrome),
                                {.arguments = arguments, .createsNewApplicationInstance = true});
  EXPECT_FALSE(error) << error->description;
  EXPECT_EQ(this->lastArguments(), arguments);
}

TYPED_TEST(WorkspaceContract, ReportsWhatCannotBeOpenedOnce) {
  EXPECT_TRUE(this->open("/Applications/Google Chrome.app", {}));
  this->install();
  const auto file = *this->workspace().urlForApplication(chrome);
  EXPECT_TRUE(this->open(file, {.arguments = {std::string("a\0b", 3)}, .createsNewApplicationInstance = true}));
}

class WorkspaceLinuxTest : public testing::Test, protected RealDesktop {
 protected:
  std::optional<OpenError> openChrome() {
    return open(*workspace().urlForApplication(chrome), {.createsNewApplicationInstance = true});
  }
};

TEST_F(WorkspaceLinuxTest, ReportsHowAProgramFailed) {
  struct Row {
    const char* name;
    std::string mode;
    const char* expected;
  };
  for (const Row& row : {Row{"status", "exit:3", "ended at once with exit status 3"},
                         Row{"signal", "signal", "was ended at once by signal 9"}}) {
    install(row.mode);
    const auto error = openChrome();
    ASSERT_TRUE(error) << row.name;
    EXPECT_THAT(error->description, testing::HasSubstr(row.expected)) << row.name;
  }
  const auto file = home.writeDesktopEntry("google-chrome.desktop", "/nonexistent/chrome %U");
  const auto error = open(file, {.createsNewApplicationInstance = true});
  ASSERT_TRUE(error);
  EXPECT_THAT(error->description, testing::HasSubstr("cannot start /nonexistent/chrome"));
}

TEST_F(WorkspaceLinuxTest, TheProgramRunsOnAndInheritsNothing) {
  install("stay");
  expectProgram();
  // What a careless launcher would hand down: an inheritable descriptor, a blocked and an ignored signal, tokens.
  const UniqueFD leak(::dup(STDERR_FILENO));
  sigset_t blocked;
  sigset_t before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  auto* oldHandler = ::signal(SIGPIPE, SIG_IGN);
  for (const char* name : {"GIO_LAUNCHED_DESKTOP_FILE", "GIO_LAUNCHED_DESKTOP_FILE_PID", "NOTIFY_SOCKET"}) {
    home.environment.set(name, "leftover");
  }
  home.environment.set("DESKTOP_STARTUP_ID", "dock-1_TIME4242");
  home.environment.set("XDG_ACTIVATION_TOKEN", "token");
  home.environment.set("ACCESSIBILITY_ENABLED", "0");
  home.environment.set("KEPT", "1");

  EXPECT_FALSE(openChrome());
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::signal(SIGPIPE, oldHandler);

  const pid_t process = awaitProgram();
  EXPECT_EQ(::kill(process, 0), 0) << "it outlives the workspace that started it";
  EXPECT_EQ(readFile(home.path() / "descriptors"), "0 /dev/null\n1 /dev/null\n2 /dev/null\n");
  // Signals 32 and 33 are glibc's own, which its posix_spawn leaves ignored.
  EXPECT_THAT(readFile(home.path() / "signals"),
              testing::MatchesRegex("SigBlk:\t0000000000000000\nSigIgn:\t0000000[01]80000000\n|"
                                    "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"));
  EXPECT_EQ(readFile(home.path() / "session"), "own");
  EXPECT_EQ(readFile(home.path() / "directory"), home.path().string());
  const auto environment = itemsOf(home.path() / "environment");
  EXPECT_THAT(environment, testing::Each(testing::Not(testing::EndsWith("=leftover"))));
  EXPECT_THAT(environment, testing::IsSupersetOf({"KEPT=1", "XDG_ACTIVATION_TOKEN=token", "ACCESSIBILITY_ENABLED=1"}));
  // One of its own, with the time of the user's action.
  EXPECT_THAT(
      environment,
      testing::Contains("DESKTOP_STARTUP_ID=corvana:app.corvana.test:" + std::to_string(::getpid()) + "-1_TIME4242"));
  EXPECT_THAT(environment, testing::Not(testing::Contains("ACCESSIBILITY_ENABLED=0")));
  ::kill(process, SIGKILL);
}

TEST_F(WorkspaceLinuxTest, LeavesOutOnlyWhatIsTooLong) {
  const std::string tooLong = "http://long/" + std::string(140'000, 'x');
  for (const char* desktopID : {"google-chrome.desktop", "firefox.desktop"}) {
    const auto file = home.writeDesktopEntry(
        desktopID, quotedForExec(RECORDER) + " " + quotedForExec(home.path().string()) + " exit:0 %U");
    const auto error = open(file, {.arguments = {"--a", "x", tooLong, "y"}, .createsNewApplicationInstance = true});
    ASSERT_TRUE(error) << desktopID;
    EXPECT_THAT(error->description, testing::HasSubstr("so long an argument: http://long/xxx")) << desktopID;
    EXPECT_THAT(lastArguments(), testing::ElementsAre("--a", "x", "y")) << desktopID;
    std::filesystem::remove(home.path() / "arguments");
    EXPECT_TRUE(open(file, {.arguments = {"--a", tooLong}, .createsNewApplicationInstance = true})) << desktopID;
    EXPECT_FALSE(std::filesystem::exists(home.path() / "arguments")) << "no window that nobody asked for";
  }
}

TEST_F(WorkspaceLinuxTest, StartsARunningProgramOnlyWhenANewInstanceIsWanted) {
  // A copy whose name is a browser's, with the lock that a browser holds.
  std::filesystem::copy_file(RECORDER, home.path() / "chrome");
  home.writeDesktopEntry("google-chrome.desktop", quotedForExec((home.path() / "chrome").string()) + " " +
                                                      quotedForExec(home.path().string()) + " stay %U");
  expectProgram();
  EXPECT_FALSE(openChrome());
  const pid_t process = awaitProgram();
  char host[256] = {};
  ::gethostname(host, sizeof host - 1);
  const auto data = home.path() / ".config/google-chrome";
  std::filesystem::create_directories(data);
  std::filesystem::create_symlink("another-host-" + std::to_string(process), data / "SingletonLock");
  EXPECT_TRUE(workspace().runningApplications(chrome).empty()) << "that one runs on another machine";
  std::filesystem::remove(data / "SingletonLock");
  std::filesystem::create_symlink(std::string(host) + "-" + std::to_string(process), data / "SingletonLock");
  EXPECT_THAT(workspace().runningApplications(chrome),
              testing::ElementsAre(RunningApplication{std::string(chrome), process}));

  // Its socket, first as a crashed browser leaves it.
  const auto state = [] { return BrowserInstallation::find(chrome)->state(); };
  EXPECT_EQ(state(), BrowserState::busy) << "no socket yet";
  const UniqueFD listener = sockets::make();
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  const std::string socket = home.path() / "socket";
  std::filesystem::create_symlink(socket, data / "SingletonSocket");
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(state(), BrowserState::busy) << "nobody listens";
  ASSERT_EQ(::listen(listener.get(), 1), 0);
  EXPECT_EQ(state(), BrowserState::accepting);

  home.writeDesktopEntry("google-chrome.desktop", "/nonexistent/chrome %U");
  const auto file = home.path() / ".local/share/applications/google-chrome.desktop";
  EXPECT_FALSE(open(file, {})) << "it runs, so nothing is started";
  EXPECT_TRUE(open(file, {.createsNewApplicationInstance = true}));
  ::kill(process, SIGKILL);
}

}  // namespace
}  // namespace corvana
