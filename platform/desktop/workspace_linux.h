#pragma once

#include <chrono>
#include <map>
#include <memory>

#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/child_process_linux.h"
#include "platform/loop/event_loop_linux.h"

namespace corvana {

/// The workspace of a freedesktop.org desktop: applications are desktop entries, and opening one starts its program.
/// Everything happens on the loop's thread, which must outlive this object.
class WorkspaceLinux final : public Workspace {
 public:
  /// A program that fails within `startUpTime` is reported as failed. A browser that hands its arguments to its running
  /// instance ends well before, one that starts lives on.
  WorkspaceLinux(EventLoop& loop, LaunchContext& context,
                 std::chrono::milliseconds startUpTime = std::chrono::seconds(1))
      : loop_(loop), context_(context), startUpTime_(startUpTime) {}

  std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) override;

  /// Known are the processes of Chrome and its relatives, and those of application bundles.
  std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) override;

  /// `file` is a desktop entry or an application bundle. The opened program decides itself whether it comes to the
  /// front, and nothing is added to recent items. One that runs already is not started once more unless a new instance
  /// is wanted: a browser would open a window that nobody asked for.
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

  void openBundle(const std::filesystem::path& path, const OpenConfiguration& configuration, OpenCompletion completion);
  /// Starts the program and watches it; reports what is wrong.
  pid_t start(const std::vector<std::string>& command, const std::filesystem::path& directory,
              const std::vector<std::string>& environment, OpenCompletion completion);
  void signal(const RunningApplication& application, int number);
  void childEnded(std::uint64_t number, const std::string& program, const std::optional<siginfo_t>& ending);
  void report(OpenCompletion completion, std::optional<OpenError> error);

  EventLoop& loop_;
  LaunchContext& context_;
  std::chrono::milliseconds startUpTime_;
  std::map<std::uint64_t, Child> children_;
  std::uint64_t nextChild_ = 0;
};

}  // namespace corvana
