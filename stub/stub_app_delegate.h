#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/bundle.h"
#include "core/identity/enum_names.h"
#include "core/identity/url.h"
#include "core/ipc/helper_connection.h"
#include "core/stub/stub_config.h"
#include "platform/application/alerts.h"
#include "platform/application/application.h"
#include "platform/application/user_notifications.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/scheduler.h"
#include "platform/windows/window_list.h"
#include "stub/degraded_watcher.h"
#include "stub/stub_notification_handler.h"

namespace corvana {

/// Whether a proxy app still waits for its first window, has some, or is about to quit for lack of them.
enum class Liveness { starting, watching, draining };

template <>
struct EnumNames<Liveness> {
  static constexpr std::array<EnumName<Liveness>, 3> rows{
      {{Liveness::starting, "starting"}, {Liveness::watching, "watching"}, {Liveness::draining, "draining"}}};
};

/// Controls a proxy app: brings the windows of its profile or tab group forward or opens one, hands Chrome the URLs
/// that the app is given, and ends the app when the last of its windows has closed. It learns of windows from the
/// helper and, while the helper cannot see them, by counting them itself.
///
/// The program's main owns it and everything that it is given. Main thread only. Each of its concerns has a source of
/// its own, as marked below.
class StubAppDelegate final : public ApplicationDelegate {
 public:
  /// What the app asks of the system and of the helper.
  struct System {
    Scheduler& mainQueue;
    const Clock& clock;
    Workspace& workspace;
    WindowList& windows;
    Application& application;
    UserNotifications& notifications;
    Alerts& alerts;
    HelperConnection& link;
  };

  /// How long Chrome may take to show a first window.
  static constexpr std::chrono::seconds launchGrace{30};
  /// How long the last window must have been gone.
  static constexpr std::chrono::seconds drainDebounce{2};
  /// The same, when nothing confirms that it has.
  static constexpr std::chrono::seconds untrustedZeroTimeout{120};
  /// How long to wait for the helper when Chrome is running already.
  static constexpr std::chrono::seconds helperWaitLimit{4};
  /// How long the helper may take to find windows, and to find or open the window of a tab group.
  static constexpr std::chrono::seconds activateTimeout{5};
  static constexpr std::chrono::seconds groupActivateTimeout{12};
  /// How often, how many times and for how long a tab group's window is asked for again.
  static constexpr std::chrono::seconds groupRetryPeriod{1};
  static constexpr int groupRetries = 20;
  static constexpr std::chrono::seconds groupRetryLimit{20};
  /// What a raised window takes to become the one that Chrome opens links in.
  static constexpr std::chrono::milliseconds groupFocusDelay{200};
  /// How long the helper may spend closing windows, how long its answer is waited for, and how long quitting may take.
  static constexpr std::chrono::seconds closeWindowsTimeout{6};
  static constexpr std::chrono::seconds closeWindowsAnswerLimit{8};
  static constexpr std::chrono::seconds quitLimit{9};
  /// How long the same warning is not repeated.
  static constexpr std::chrono::seconds accessibilityWarningInterval{3600};
  static constexpr std::chrono::seconds groupWarningInterval{300};

  /// What an app is called whose bundle does not say.
  static constexpr std::string_view defaultDisplayName = "Corvana App";

  /// `bundle` is the proxy app's own.
  StubAppDelegate(const Bundle& bundle, const System& system);
  StubAppDelegate(const StubAppDelegate&) = delete;
  StubAppDelegate& operator=(const StubAppDelegate&) = delete;

  const StubConfig& config() const { return config_; }
  /// What the app is called in texts for its user.
  const std::string& displayName() const { return displayName_; }
  Liveness liveness() const { return liveness_; }

  // Start-up: stub_app_delegate.cpp
  void applicationWillFinishLaunching() override;
  void applicationDidFinishLaunching() override;

  // Activation: stub_app_delegate_activation.cpp
  void applicationOpen(const std::vector<std::string>& urls) override;
  void applicationShouldHandleReopen() override;
  /// Opens a window even where there is one. Before the launch has finished, it is what the app is started for.
  void openNewWindow() override;
  void bringToFront() override;

  // Quitting: stub_app_delegate_quit.cpp
  TerminateReply applicationShouldTerminate() override;
  void applicationWillTerminate() override;

 private:
  using URLs = std::vector<URL>;

  // Start-up: stub_app_delegate.cpp
  Request helloRequest() const;
  void launchGraceEnded();
  void handleLinkState(HelperConnection::State state);
  void handle(const Event& event);
  bool isAbout(const Event& event) const;
  void startDegradedWatcher();

  // Activation: stub_app_delegate_activation.cpp
  void activateOrLaunch();
  void didActivate(const Response& response);
  /// Opens Chrome where the helper knows of it, or need not: a window of the profile is there already.
  void launch(const URLs& urls);
  /// Opens Chrome without the helper's help, which is told before that a window is on its way.
  void launchDegraded(const URLs& urls);
  void bringChromeForward();
  void awaitHelperThenActivate();
  bool isConnected() const { return system_.link.state() == HelperConnection::State::connected; }

  // Liveness: stub_app_delegate_liveness.cpp
  void updateLiveness(std::int64_t count, CountConfidence confidence, bool chromeRunning);
  void beginDrain();
  void quitBySelf();

  // Tab groups: stub_app_delegate_tab_group.cpp
  void openURLsThroughGroup(const URLs& urls);
  void didActivateForURLs(const Response& response, const URLs& urls);
  URLs takeUndeliveredURLs();
  void deliverToFocusedGroupWindow(const URLs& urls);
  void scheduleGroupRetry();
  void retryGroup();
  void didRetryGroup(const Response& response);
  bool isGroupRetryOver() const;
  void fallbackPendingGroupURLs();
  void stopGroupRetry();

  // Quitting: stub_app_delegate_quit.cpp
  void didCloseWindows(const Response& response);
  void showBlockedAlert();

  // Notices: stub_app_delegate_notices.cpp
  void notify(const std::string& title, const std::string& body);
  void warnOutdated(const std::vector<std::string>& improvements);
  void warnAboutAccessibility();
  void warnGroupMissing();

  const System system_;
  std::optional<std::string> bundleID_;
  std::optional<std::int64_t> stubRevision_;
  std::string displayName_{defaultDisplayName};
  StubConfig config_{.profileDirectory = "Default", .profileName = "Default"};
  StubNotificationHandler notificationHandler_;

  Liveness liveness_ = Liveness::starting;
  Timer drainTimer_;
  Timer graceTimer_;
  bool isSelfQuitting_ = false;
  std::optional<DegradedWatcher> degraded_;
  /// When the present run of unconfirmed zero counts began.
  std::optional<std::chrono::steady_clock::time_point> untrustedZeroSince_;

  /// URLs that were handed in and wait for the next activation.
  URLs pendingURLs_;
  bool wantsNewWindow_ = false;
  bool didInitialActivate_ = false;
  bool awaitingHelper_ = false;
  Timer helperWaitTimer_;

  int groupRetriesLeft_ = 0;
  Timer groupRetryTimer_;
  std::optional<std::chrono::steady_clock::time_point> groupRetryDeadline_;
  bool groupRetryInFlight_ = false;
  /// URLs that wait for the tab group's window.
  URLs pendingGroupURLs_;
  /// URLs on their way to the tab group's window, oldest first: the helper looks for it or, where there is a timer, it
  /// is about to have the focus.
  struct GroupDelivery {
    URLs urls;
    Timer timer;
  };
  std::map<std::uint64_t, GroupDelivery> groupDeliveries_;
  std::uint64_t nextGroupDelivery_ = 0;

  /// One for each question whether to quit that is younger than `quitLimit`, oldest first.
  std::deque<Timer> quitTimers_;
  Lifetime lifetime_;
};

}  // namespace corvana
