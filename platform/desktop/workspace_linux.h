#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/launch_queue_linux.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/child_process_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/session_bus_linux.h"

namespace corvana {

/// The workspace of a freedesktop.org desktop: applications are desktop entries, and opening one starts its program.
/// Everything happens on the loop's thread, which must outlive this object.
class WorkspaceLinux final : public Workspace, private LaunchQueue::Programs {
 public:
  /// Takes what is for the log and nobody's error.
  using Notice = std::function<void(const std::string&)>;

  /// A program that fails within `startUpTime` is reported as failed. A browser that hands its arguments to its running
  /// instance ends well before, one that starts lives on. Over `bus`, which may be null, our own applications are
  /// handed what they are to open; an answer is waited for `callLimit`, in which the bus may have to start them.
  WorkspaceLinux(EventLoop& loop, LaunchContext& context,
                 std::chrono::milliseconds startUpTime = std::chrono::seconds(1), SessionBus* bus = nullptr,
                 std::chrono::milliseconds callLimit = std::chrono::seconds(10))
      : loop_(loop), context_(context), startUpTime_(startUpTime), bus_(bus), callLimit_(callLimit) {}
  /// Launches what waits for its turn still; see `LaunchQueue::finish`.
  ~WorkspaceLinux() override { queue_.finish(); }

  void onNotice(Notice notice) { notice_ = std::move(notice); }

  std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) override;

  /// Known are the processes of Chrome and its relatives, and those of application bundles.
  std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) override;

  /// `file` is a desktop entry or an application bundle. A bundle's application is called over the bus, which starts it
  /// if need be; its program is started where that cannot be. One that takes the call and does not answer in time
  /// counts as opened: it has what it was given, and will open it when it goes on. The opened program decides itself
  /// whether it comes to the front, and nothing is added to recent items. One that runs already is not started once
  /// more unless a new instance is wanted: a browser would open a window that nobody asked for. Chrome and its
  /// relatives are launched in order (`LaunchQueue`). An argument that is too long for the system is left out, and the
  /// report names it; when no other than options are left, nothing is opened.
  void openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                       OpenCompletion completion) override;
  void terminate(const RunningApplication& application) override;
  void forceTerminate(const RunningApplication& application) override;

 private:
  /// A program that was started here and has not ended yet.
  struct Child {
    std::unique_ptr<ChildProcess> process;
    Timer startUp;
    OpenCompletion completion;  // empty once it was called
  };

  BrowserState stateOf(const BrowserInstallation& browser) override { return browser.state(); }
  pid_t start(const BrowserInstallation& browser, const std::vector<std::string>& arguments,
              OpenCompletion completion) override;
  bool hasEnded(pid_t process) override;
  void pause(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
  void notice(const std::string& text) override;

  pid_t openEntry(const DesktopEntry& entry, const std::vector<std::string>& arguments, bool isBrowser,
                  OpenCompletion completion);
  /// What a bundle's application is asked for over the bus.
  struct Call {
    WorkspaceLinux& workspace;
    std::uint64_t number;
    ApplicationBundle bundle;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    OpenCompletion completion;
    BusSlot slot;
    Timer limit;
  };

  void openBundle(const std::filesystem::path& path, const OpenConfiguration& configuration, OpenCompletion completion);
  /// Whether the bus has taken the call; `call` is kept then, else left as it is.
  bool callBundle(std::unique_ptr<Call>& call);
  static int callAnswered(sd_bus_message* answer, void* userData, sd_bus_error* error) noexcept;
  void startBundle(const ApplicationBundle& bundle, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment, OpenCompletion completion);
  /// Starts the program and watches it; reports what is wrong.
  pid_t start(const std::vector<std::string>& command, const std::filesystem::path& directory,
              const std::vector<std::string>& environment, OpenCompletion completion);
  void signal(const RunningApplication& application, int number);
  void childEnded(std::uint64_t number, const std::string& program, const std::optional<siginfo_t>& ending);
  void report(OpenCompletion completion, std::optional<OpenError> error);

  EventLoop& loop_;
  LaunchContext& context_;
  std::chrono::milliseconds startUpTime_;
  SessionBus* bus_;
  std::chrono::milliseconds callLimit_;
  std::map<std::uint64_t, Child> children_;
  std::uint64_t nextChild_ = 0;
  Notice notice_;
  LaunchQueue queue_{loop_, loop_, *this};
  std::map<std::uint64_t, std::unique_ptr<Call>> calls_;
  std::uint64_t nextCall_ = 0;
};

}  // namespace corvana
