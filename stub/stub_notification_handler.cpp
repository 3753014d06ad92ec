#include "stub/stub_notification_handler.h"

#include "core/identity/corvana.h"
#include "core/identity/log.h"

namespace corvana {

void StubNotificationHandler::install(UserNotifications& notifications) {
  notifications.setTapHandler([this] { didReceiveTap(); });
}

void StubNotificationHandler::didReceiveTap() {
  const auto application = workspace_.urlForApplication(Corvana::creatorBundleID);
  if (!application) return Log::stub.notice("notification tapped, but Corvana isn't installed anywhere findable");
  workspace_.openApplication(*application, {.activates = true}, nullptr);
}

}  // namespace corvana
