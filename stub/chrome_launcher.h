#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "core/identity/url.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// The one place where the proxy app itself opens Google Chrome. Main thread.
struct ChromeLauncher {
  ChromeLauncher() = delete;

  /// Chrome's location; where the system knows none, the place where it usually is, so that opening it then says what
  /// is missing.
  static std::filesystem::path chromeURL(Workspace& workspace);

  /// Chrome's main process, if it runs.
  static std::optional<RunningApplication> runningChrome(Workspace& workspace);

  /// Opens Chrome with that profile and those URLs, which may be none; Chrome hands them to its running instance.
  /// `completion`, which may be empty, is called once, on the main thread, with whether it succeeded. A failure is
  /// logged and not tried again.
  static void launch(Workspace& workspace, Scheduler& mainQueue, const std::string& profileDirectory,
                     std::span<const URL> urls, std::function<void(bool)> completion);
};

}  // namespace corvana
