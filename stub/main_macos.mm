// The proxy app's executable on macOS: composes the delegate with the system's adapters and serves it.

#include <cstdlib>
#include <exception>

#include "core/identity/log.h"
#include "core/ipc/helper_link.h"
#include "platform/application/alerts_macos.h"
#include "platform/application/application_macos.h"
#include "platform/application/user_notifications_macos.h"
#include "platform/desktop/running_bundle.h"
#include "platform/desktop/workspace_macos.h"
#include "platform/log/system_log_macos.h"
#include "platform/loop/main_queue_macos.h"
#include "platform/loop/read_queue_macos.h"
#include "platform/windows/window_list_macos.h"
#include "stub/stub_app_delegate.h"

namespace {

using namespace corvana;

int run() {
  ApplicationMacOS application;
  MainQueue mainQueue;
  WorkspaceMacOS workspace;
  WindowListMacOS windows;
  UserNotificationsMacOS notifications;
  AlertsMacOS alerts;
  ReadQueueMacOS readQueue("app.corvana.link");
  HelperLink link(mainQueue, readQueue, workspace);
  StubAppDelegate delegate(Bundle{runningBundlePath()}, {.mainQueue = mainQueue,
                                                         .clock = mainQueue,
                                                         .workspace = workspace,
                                                         .windows = windows,
                                                         .application = application,
                                                         .notifications = notifications,
                                                         .alerts = alerts,
                                                         .link = link});
  return application.run(delegate);
}

}  // namespace

int main() {
  SystemLog log;
  Log::setSink(&log);
  @autoreleasepool {
    try {
      return run();
    } catch (const std::exception& error) {
      Log::stub.error("cannot run: ", error.what());
      return EXIT_FAILURE;
    }
  }
}
