#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// A process that the system knows as an application.
struct RunningApplication {
  std::string bundleIdentifier;
  pid_t processIdentifier = 0;

  bool operator==(const RunningApplication&) const = default;
};

/// How an application is to be opened.
struct OpenConfiguration {
  /// Passed to the program one by one, byte for byte; no shell sees them.
  std::vector<std::string> arguments;
  /// Start the program even when it is running already, so that it receives the arguments.
  bool createsNewApplicationInstance = false;
  /// The application comes to the front.
  bool activates = true;
  /// The opening shows in lists of recently used applications.
  bool addsToRecentItems = true;

  bool operator==(const OpenConfiguration&) const = default;
};

/// Why an application could not be opened, in words for a log line.
struct OpenError {
  std::string description;
};

/// The applications of the logged-in user's system. An application is named by its bundle identifier and located by
/// the file that stands for it: an application bundle on macOS, a desktop entry on Linux.
/// Used on the main thread.
class Workspace {
 public:
  using OpenCompletion = std::function<void(std::optional<OpenError>)>;

  virtual ~Workspace() = default;

  /// The file of the installed application with this identifier; nothing when the system knows none, or when another
  /// application is where it was.
  virtual std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) = 0;

  /// This user's running applications with this identifier, one entry for each main process.
  virtual std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) = 0;

  /// Opens the application at `file`. `completion`, which may be empty, is called exactly once, on any thread and never
  /// inside this call: without an error once the program runs or has handed its arguments to a running instance.
  virtual void openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                               OpenCompletion completion) = 0;

  /// Asks the application to end, or ends it without asking. It may have ended already.
  virtual void terminate(const RunningApplication& application) = 0;
  virtual void forceTerminate(const RunningApplication& application) = 0;
};

}  // namespace corvana
