#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "core/identity/bundle.h"
#include "core/identity/url.h"
#include "core/stub/stub_config.h"
#include "platform/scheduler.h"
#include "platform/workspace.h"

namespace corvana {

/// Controls a proxy app: opens Chrome for its profile, hands it the URLs that the app is given, and ends the app when
/// Chrome has ended. The program's main owns it and calls it on the main thread only.
class StubAppDelegate {
 public:
  /// How long Chrome may take to come up.
  static constexpr std::chrono::seconds launchGrace{30};
  /// How often the app looks whether Chrome still runs.
  static constexpr std::chrono::seconds chromeCheckPeriod{3};

  /// `terminate` ends the application; it may be called more than once.
  StubAppDelegate(const Bundle& bundle, Workspace& workspace, Scheduler& mainQueue, std::function<void()> terminate);
  StubAppDelegate(const StubAppDelegate&) = delete;
  StubAppDelegate& operator=(const StubAppDelegate&) = delete;

  void applicationDidFinishLaunching();

  /// URLs for the profile; those that come before the first activation wait for it.
  void applicationOpen(std::vector<URL> urls);

  /// The user started the running app once more.
  void applicationShouldHandleReopen();

  const StubConfig& config() const { return config_; }
  /// What the app is called in texts for its user.
  const std::string& displayName() const { return displayName_; }

 private:
  void activateOrLaunch();
  void checkChrome();

  Workspace& workspace_;
  Scheduler& mainQueue_;
  std::function<void()> terminate_;
  StubConfig config_;
  std::string displayName_;
  std::vector<URL> pendingURLs_;
  bool didInitialActivate_ = false;
  bool didSeeChrome_ = false;
  Timer graceTimer_;
  Timer chromeCheckTimer_;
};

}  // namespace corvana
