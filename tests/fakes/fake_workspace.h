#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/desktop/workspace.h"

namespace corvana::fakes {

/// A system of applications in memory.
class FakeWorkspace final : public Workspace {
 public:
  struct Launch {
    std::filesystem::path file;
    OpenConfiguration configuration;
  };

  // The world, for tests to set up.
  std::map<std::string, std::filesystem::path, std::less<>> installed;
  std::vector<RunningApplication> running;
  /// Puts an application there, in the place of what was there.
  void install(const std::string& bundleIdentifier, const std::filesystem::path& file) {
    std::erase_if(installed, [&file](const auto& application) { return application.second == file; });
    installed[bundleIdentifier] = file;
  }
  /// What every opening fails with, if anything.
  std::optional<OpenError> openError;

  /// Applications that do not end when asked to.
  bool ignoresTermination = false;

  /// The system reports what has become of the openings so far, on a thread of its own as far as the product knows.
  void deliverReports() {
    for (const auto& report : std::exchange(reports_, {})) report();
  }

  /// What was opened, and which processes were ended without asking, oldest first.
  std::vector<Launch> launches;
  std::vector<pid_t> forceTerminated;

  void terminate(const RunningApplication& application) override {
    if (!ignoresTermination) std::erase(running, application);
  }
  void forceTerminate(const RunningApplication& application) override {
    if (std::erase(running, application) > 0) forceTerminated.push_back(application.processIdentifier);
  }

  std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) override {
    const auto found = installed.find(bundleIdentifier);
    return found == installed.end() ? std::nullopt : std::optional(found->second);
  }

  std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) override {
    std::vector<RunningApplication> result;
    for (const RunningApplication& application : running) {
      if (application.bundleIdentifier == bundleIdentifier) result.push_back(application);
    }
    return result;
  }

  void openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                       OpenCompletion completion) override {
    std::optional<OpenError> error = openError;
    const bool isInstalled =
        std::ranges::any_of(installed, [&file](const auto& application) { return application.second == file; });
    if (!error && !isInstalled) error = OpenError{file.string() + ": no such application"};
    for (const std::string& argument : configuration.arguments) {
      if (argument.find('\0') != std::string::npos) error = OpenError{"an argument holds a zero byte"};
    }
    if (!error) launches.push_back({file, configuration});
    if (completion) reports_.push_back([completion = std::move(completion), error] { completion(error); });
  }

 private:
  std::vector<std::function<void()>> reports_;
};

}  // namespace corvana::fakes
