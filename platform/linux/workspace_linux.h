#pragma once

#include <chrono>
#include <map>

#include "platform/linux/event_loop.h"
#include "platform/workspace.h"

namespace corvana {

/// The workspace of a freedesktop.org desktop: applications are desktop entries, and opening one starts its program.
/// Everything happens on the loop's thread, which must outlive this object.
class WorkspaceLinux final : public Workspace {
 public:
  /// A program that fails within `startUpTime` is reported as failed. A browser that hands its arguments to its running
  /// instance ends well before, one that starts lives on.
  explicit WorkspaceLinux(EventLoop& loop, std::chrono::milliseconds startUpTime = std::chrono::seconds(1))
      : loop_(loop), startUpTime_(startUpTime) {}

  std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) override;

  /// Known are the processes of Chrome and its relatives; for other identifiers the list is empty.
  std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) override;

  /// The opened program decides itself whether it comes to the front, and nothing is added to recent items.
  void openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                       OpenCompletion completion) override;

 private:
  /// A program that was started here and has not ended yet.
  struct Child {
    UniqueFD descriptor;
    std::string program;
    Timer exit;
    Timer startUp;
    OpenCompletion completion;  // empty once it was called
  };

  void watch(pid_t process, std::string program, OpenCompletion completion);
  void childExited(pid_t process);
  void report(OpenCompletion completion, std::optional<OpenError> error);

  EventLoop& loop_;
  std::chrono::milliseconds startUpTime_;
  std::map<pid_t, Child> children_;
};

}  // namespace corvana
