// How the app responds to being launched, clicked or sent links.
#include <utility>

#include "core/identity/log.h"
#include "core/stub/chrome_windows.h"
#include "stub/chrome_launcher.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

void StubAppDelegate::applicationOpen(const std::vector<std::string>& urls) {
  for (const std::string& text : urls) {
    if (auto url = URL::absolute(text)) {
      pendingURLs_.push_back(std::move(*url));
    } else {
      Log::stub.error("was given something that is no URL with a scheme: ", text);
    }
  }
  if (didInitialActivate_) activateOrLaunch();
}

void StubAppDelegate::applicationShouldHandleReopen() {
  activateOrLaunch();
}

void StubAppDelegate::openNewWindow() {
  if (!didInitialActivate_) {
    wantsNewWindow_ = true;
    return;
  }
  launchDegraded({});
}

void StubAppDelegate::bringToFront() {
  activateOrLaunch();
}

void StubAppDelegate::activateOrLaunch() {
  if (const URLs urls = std::exchange(pendingURLs_, {}); !urls.empty()) {
    return config_.isTabGroup() ? openURLsThroughGroup(urls) : launchDegraded(urls);
  }
  if (!isConnected()) {
    return ChromeWindows::isChromeRunning(system_.workspace) ? awaitHelperThenActivate() : launchDegraded({});
  }
  system_.link.request(Request::Op::activate, config_.isTabGroup() ? groupActivateTimeout : activateTimeout, nullptr,
                       lifetime_.guard([this](const Response& response) { didActivate(response); }));
}

void StubAppDelegate::didActivate(const Response& response) {
  using Action = Response::Action;
  if (response.action == Action::raised || response.action == Action::openedGroup) {
    groupRetriesLeft_ = 0;
    return bringChromeForward();
  }
  if (response.action == Action::groupNotFound) {
    groupRetriesLeft_ = 0;
    bringChromeForward();
    return warnGroupMissing();
  }
  launchDegraded({});
  // The new window is yet to be joined to its group.
  if (config_.isTabGroup()) scheduleGroupRetry();
}

void StubAppDelegate::launch(const URLs& urls) {
  ChromeLauncher::launch(system_.workspace, system_.mainQueue, config_.profileDirectory, urls, nullptr);
}

void StubAppDelegate::launchDegraded(const URLs& urls) {
  // Beforehand, so that the helper knows that a window of this profile is on its way.
  system_.link.post(Request::Op::noteLaunch,
                    [this](Request& request) { request.profileDirectory = config_.profileDirectory; });
  launch(urls);
}

void StubAppDelegate::bringChromeForward() {
  const auto chrome = ChromeLauncher::runningChrome(system_.workspace);
  if (!chrome) return;
  system_.application.handActivationTo(*chrome, lifetime_.guard([this](bool succeeded) {
    if (succeeded) return;
    system_.workspace.openApplication(ChromeLauncher::chromeURL(system_.workspace),
                                      {.createsNewApplicationInstance = false, .activates = true}, nullptr);
  }));
}

void StubAppDelegate::awaitHelperThenActivate() {
  if (awaitingHelper_) return;
  awaitingHelper_ = true;
  helperWaitTimer_ = system_.mainQueue.after(helperWaitLimit, [this] {
    if (!std::exchange(awaitingHelper_, false)) return;
    Log::stub.notice("helper did not answer in time; opening a window without it");
    // With the links of a tab group that have been waiting for the helper, if there are any.
    launchDegraded(std::exchange(pendingURLs_, {}));
  });
}

}  // namespace corvana
