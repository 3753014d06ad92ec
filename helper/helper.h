#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/settings_store.h"
#include "core/ipc/socket_server.h"
#include "core/routing/recent_links.h"
#include "core/routing/rule_store.h"
#include "helper/app_directory.h"
#include "helper/chrome_watch.h"
#include "helper/clients.h"
#include "helper/link_handler.h"
#include "helper/profile_list.h"
#include "helper/request_handler.h"
#include "helper/window_dressing.h"
#include "platform/application/application.h"
#include "platform/application/user_notifications.h"
#include "platform/desktop/application_handlers.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/read_queue.h"
#include "platform/loop/scheduler.h"
#include "platform/windows/browser_windows.h"
#include "platform/windows/window_identities.h"

namespace corvana {

/// The background helper: serves proxy apps at its socket with what it sees of Chrome's windows, and sends the links
/// that the desktop hands it where the rules say. It wires; what is done, its parts know. The program's main owns it
/// and everything that it is given. Main thread.
class Helper final : public ApplicationDelegate {
 public:
  /// What the helper asks of the system.
  struct System {
    Scheduler& mainQueue;
    const Clock& clock;
    ReadQueue& readQueue;
    BrowserWindows& windows;
    WindowIdentities& identities;
    Workspace& workspace;
    ApplicationHandlers& handlers;
    UserNotifications& notifications;
    Application& application;
  };

  /// How soon a client that did not read is told again what its windows are.
  static constexpr std::chrono::seconds retryPeriod{1};

  /// `localState` is Chrome's file that lists its profiles.
  Helper(const System& system, std::filesystem::path localState);
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;

  void applicationWillFinishLaunching() override {}
  /// Throws SocketError when the socket cannot be listened at.
  void applicationDidFinishLaunching() override;
  void applicationOpen(const std::vector<std::string>& urls) override;
  void applicationShouldHandleReopen() override {}
  void openNewWindow() override {}
  void bringToFront() override {}
  TerminateReply applicationShouldTerminate() override { return TerminateReply::terminateNow; }
  void applicationWillTerminate() override;

 private:
  void chromeChanged();
  /// Also those that are no proxy apps.
  void tellAll(Event::Kind kind);
  void announceCounts();
  std::optional<std::string> profileOfMark(std::string_view mark);

  const System system_;
  SettingsStore settings_;
  AppDirectory apps_;
  ProfileList profiles_;
  Clients clients_;
  ChromeWatch watch_;
  RequestHandler requests_;
  WindowDressing dressing_;
  SocketServer server_;
  RuleStore rules_;
  RecentLinksStore history_;
  LinkHandler links_;
  std::string socketPath_;
  bool toldTrust_ = true;
  Timer laterTimer_;
};

}  // namespace corvana
