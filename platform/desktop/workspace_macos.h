#pragma once

#include "platform/desktop/workspace.h"

namespace corvana {

/// The workspace of the logged-in user, as Launch Services and the window server know it. What runs is brought up to
/// date by the main run loop only: a loop that waits for a change without serving it waits for ever.
class WorkspaceMacOS final : public Workspace {
 public:
  std::optional<std::filesystem::path> urlForApplication(std::string_view bundleIdentifier) override;

  std::vector<RunningApplication> runningApplications(std::string_view bundleIdentifier) override;

  /// Arguments that are not UTF-8 are refused: the system passes on texts, not bytes.
  void openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                       OpenCompletion completion) override;
  void terminate(const RunningApplication& application) override;
  void forceTerminate(const RunningApplication& application) override;
};

}  // namespace corvana
