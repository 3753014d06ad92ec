#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/desktop/workspace.h"

namespace corvana {

/// Keeps the background helper installed at its fixed place, from the copy inside the main application's bundle.
/// All operations block; main thread.
struct HelperInstaller {
  HelperInstaller() = delete;

  class InstallError : public std::runtime_error {
   public:
    /// There is no copy of the helper to install from.
    static InstallError noSourceBundle() { return InstallError("could not find a helper to install"); }

   private:
    using std::runtime_error::runtime_error;
  };

  /// How long a running helper is given to end by itself.
  static constexpr std::chrono::milliseconds terminationGrace{400};
  /// How long another program's installation is waited for.
  static constexpr std::chrono::seconds installationPatience{5};
  /// Waits; replaced in tests.
  using Wait = std::function<void(std::chrono::milliseconds)>;

  /// Installs the helper when it is missing or of another build, and whenever `force` is set. True when a copy was
  /// made: of several programs that do this at once one makes it. Throws InstallError (which it has logged),
  /// std::filesystem::filesystem_error or ToolError; an old copy that was removed stays removed.
  static bool installFromCreatorBundle(Workspace& workspace, bool force, const Wait& wait = sleep);

  static std::optional<std::string> installedVersion();
  /// The build of the helper at that place; nothing when its Info.plist does not say.
  static std::optional<std::string> version(const std::filesystem::path& helper);

  /// Ends every running helper: asks first, and after a while does not.
  static void terminateRunningHelper(Workspace& workspace, const Wait& wait = sleep);

  /// Runs a tool to its end and gives its output, errors included. Throws ToolError.
  static std::string run(const std::string& executable, const std::vector<std::string>& arguments);

 private:
  static void sleep(std::chrono::milliseconds duration);
};

}  // namespace corvana
