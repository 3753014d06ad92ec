#pragma once

#include "platform/application/user_notifications.h"
#include "platform/desktop/workspace.h"

namespace corvana {

/// What a click on one of the proxy app's notifications does: it opens the main application. Main thread.
class StubNotificationHandler {
 public:
  explicit StubNotificationHandler(Workspace& workspace) : workspace_(workspace) {}
  StubNotificationHandler(const StubNotificationHandler&) = delete;
  StubNotificationHandler& operator=(const StubNotificationHandler&) = delete;

  /// Takes the clicks from now on; must outlive the notifications.
  void install(UserNotifications& notifications);

 private:
  void didReceiveTap();

  Workspace& workspace_;
};

}  // namespace corvana
