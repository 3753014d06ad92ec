// What happens when the app is asked to quit.
#include "core/identity/log.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

StubAppDelegate::TerminateReply StubAppDelegate::applicationShouldTerminate() {
  // Chrome is left alone unless the user wants its windows closed with the app, and there are such and a helper to
  // close them.
  if (!config_.closeOnQuit || isSelfQuitting_ || !isConnected()) return TerminateReply::terminateNow;
  quitTimer_ = system_.mainQueue.after(quitLimit, [this] {
    // Whatever became of the request, the app does not hang. An open alert is an answer, which its end will give.
    if (!isAlertOpen_) system_.application.replyToApplicationShouldTerminate(true);
  });
  system_.link.request(
      Request::Op::closeWindows, closeWindowsAnswerLimit,
      [](Request& request) { request.timeout = std::chrono::duration<double>(closeWindowsTimeout).count(); },
      [this, isGone = lifetime_.reference(), &application = system_.application](const Response& response) {
        if (isGone.expired()) return application.replyToApplicationShouldTerminate(true);
        didCloseWindows(response);
      });
  return TerminateReply::terminateLater;
}

void StubAppDelegate::didCloseWindows(const Response& response) {
  if (!response.blocked.value_or(false)) return system_.application.replyToApplicationShouldTerminate(true);
  bringChromeForward();
  showBlockedAlert();
}

void StubAppDelegate::showBlockedAlert() {
  isAlertOpen_ = true;
  system_.alerts.runModal(
      {.messageText = "Chrome is asking you to confirm before leaving a page.",
       .informativeText = displayName_ + " did not quit, so you don't lose anything. Answer Chrome's prompt, then "
                                         "quit again."},
      lifetime_.guard([this] {
        isAlertOpen_ = false;
        system_.application.replyToApplicationShouldTerminate(false);
      }));
}

void StubAppDelegate::applicationWillTerminate() {
  Log::stub.info("terminating (selfQuit=", isSelfQuitting_, ", liveness=", nameOf(liveness_), ")");
  system_.link.onStateChange = nullptr;  // that the link goes down is no reason to watch windows
  system_.link.shutdown();
}

}  // namespace corvana
