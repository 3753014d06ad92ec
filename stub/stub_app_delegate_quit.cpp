// What happens when the app is asked to quit.
#include <utility>

#include "core/identity/log.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

StubAppDelegate::TerminateReply StubAppDelegate::applicationShouldTerminate() {
  // Chrome is left alone unless the user wants its windows closed with the app, and there are such and a helper to
  // close them.
  if (!config_.closeOnQuit || isSelfQuitting_ || !isConnected()) return TerminateReply::terminateNow;
  // Whatever became of the request, and of this question, the app does not hang. Equal limits end in their order.
  quitTimers_.push_back(system_.mainQueue.after(quitLimit, [this] {
    const Timer ended = std::move(quitTimers_.front());
    quitTimers_.pop_front();
    system_.application.replyToApplicationShouldTerminate(true);
  }));
  system_.link.request(
      Request::Op::closeWindows, closeWindowsAnswerLimit,
      [](Request& request) { request.timeout = std::chrono::duration<double>(closeWindowsTimeout).count(); },
      [this, self = lifetime_.reference(), &application = system_.application](const Response& response) {
        if (self.expired()) return application.replyToApplicationShouldTerminate(true);
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
  system_.alerts.runModal(
      {.messageText = "Chrome is asking you to confirm before leaving a page.",
       .informativeText = displayName_ + " did not quit, so you don't lose anything. Answer Chrome's prompt, then "
                                         "quit again."},
      lifetime_.guard([this] { system_.application.replyToApplicationShouldTerminate(false); }));
}

void StubAppDelegate::applicationWillTerminate() {
  Log::stub.info("terminating (selfQuit=", isSelfQuitting_, ", liveness=", nameOf(liveness_), ")");
  // An app that ends for lack of windows may have been given links meanwhile. Whoever quits it wants none of them.
  if (isSelfQuitting_) {
    if (const URLs urls = takeUndeliveredURLs(); !urls.empty()) launchDegraded(urls);
  }
  system_.link.onStateChange = nullptr;  // that the link goes down is no reason to watch windows
  system_.link.shutdown();
}

}  // namespace corvana
