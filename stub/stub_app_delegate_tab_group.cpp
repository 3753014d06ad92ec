// How links reach the window of the app's tab group.
#include <utility>

#include "core/identity/log.h"
#include "stub/chrome_launcher.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

void StubAppDelegate::openURLsThroughGroup(const URLs& urls) {
  if (isConnected()) {
    return system_.link.request(
        Request::Op::activate, groupActivateTimeout, nullptr,
        lifetime_.guard([this, urls](const Response& response) { didActivateForURLs(response, urls); }));
  }
  if (isChromeRunning()) {
    pendingURLs_.insert(pendingURLs_.begin(), urls.begin(), urls.end());
    return awaitHelperThenActivate();
  }
  pendingGroupURLs_.insert(pendingGroupURLs_.end(), urls.begin(), urls.end());
  launchDegraded({});
  scheduleGroupRetry();
}

void StubAppDelegate::didActivateForURLs(const Response& response, const URLs& urls) {
  if (!response.action) return launch(urls);
  switch (*response.action) {
    case Response::Action::raised:
    case Response::Action::openedGroup:
      bringChromeForward();
      return deliverToFocusedGroupWindow(urls);
    case Response::Action::nothingToRaise:
      // A new window, which the helper can join to the group.
      pendingGroupURLs_.insert(pendingGroupURLs_.end(), urls.begin(), urls.end());
      launchDegraded({});
      return scheduleGroupRetry();
    case Response::Action::groupNotFound:
      warnGroupMissing();
      return launch(urls);
    case Response::Action::acknowledged:
      return launch(urls);
  }
}

void StubAppDelegate::deliverToFocusedGroupWindow(const URLs& urls) {
  if (urls.empty()) return;
  const std::uint64_t number = groupDeliveries_.empty() ? 0 : groupDeliveries_.rbegin()->first + 1;
  groupDeliveries_[number] = system_.mainQueue.after(groupFocusDelay, [this, number, urls] {
    groupDeliveries_.erase(number);
    launch(urls);
  });
}

void StubAppDelegate::scheduleGroupRetry() {
  if (groupRetriesLeft_ != 0 || groupRetryTimer_) return;  // one that runs is not prolonged
  groupRetriesLeft_ = groupRetries;
  groupRetryDeadline_ = system_.clock.now() + groupRetryLimit;
  groupRetryTimer_ = system_.mainQueue.every(groupRetryPeriod, [this] { retryGroup(); });
}

void StubAppDelegate::retryGroup() {
  if (isGroupRetryOver()) return fallbackPendingGroupURLs();
  if (!isConnected() || groupRetryInFlight_) return;
  --groupRetriesLeft_;
  groupRetryInFlight_ = true;
  system_.link.request(Request::Op::activate, groupActivateTimeout, nullptr,
                       lifetime_.guard([this](const Response& response) { didRetryGroup(response); }));
}

void StubAppDelegate::didRetryGroup(const Response& response) {
  if (!groupRetryTimer_) return;  // stopped meanwhile
  groupRetryInFlight_ = false;
  using Action = Response::Action;
  if (response.action == Action::raised || response.action == Action::openedGroup) {
    stopGroupRetry();
    bringChromeForward();
    return deliverToFocusedGroupWindow(std::exchange(pendingGroupURLs_, {}));
  }
  if (response.action == Action::groupNotFound) {
    stopGroupRetry();
    warnGroupMissing();
    // A window is open already, so that nothing is launched for no links.
    if (const URLs urls = std::exchange(pendingGroupURLs_, {}); !urls.empty()) launch(urls);
    return;
  }
  if (isGroupRetryOver()) fallbackPendingGroupURLs();
}

bool StubAppDelegate::isGroupRetryOver() const {
  return groupRetriesLeft_ <= 0 || !groupRetryDeadline_ || system_.clock.now() >= *groupRetryDeadline_;
}

void StubAppDelegate::fallbackPendingGroupURLs() {
  const URLs urls = std::exchange(pendingGroupURLs_, {});
  stopGroupRetry();
  // They open in the profile's frontmost window, whatever group that shows.
  if (!urls.empty()) launchDegraded(urls);
}

void StubAppDelegate::stopGroupRetry() {
  groupRetriesLeft_ = 0;
  groupRetryDeadline_.reset();
  groupRetryInFlight_ = false;
  groupRetryTimer_ = {};
}

}  // namespace corvana
