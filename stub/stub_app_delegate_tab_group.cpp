// How links reach the window of the app's tab group.
#include <utility>

#include "core/stub/chrome_windows.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

void StubAppDelegate::openURLsThroughGroup(const URLs& urls) {
  if (isConnected()) {
    const std::uint64_t number = nextGroupDelivery_++;
    groupDeliveries_[number].urls = urls;
    const auto answered = [this, number](const Response& response) {
      // Nothing is left to deliver when the app has ended meanwhile.
      if (const auto delivery = groupDeliveries_.extract(number)) didActivateForURLs(response, delivery.mapped().urls);
    };
    return system_.link.request(Request::Op::activate, groupActivateTimeout, nullptr, lifetime_.guard(answered));
  }
  if (ChromeWindows::isChromeRunning(system_.workspace)) {
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
  const std::uint64_t number = nextGroupDelivery_++;
  groupDeliveries_[number] = {.urls = urls, .timer = system_.mainQueue.after(groupFocusDelay, [this, number] {
                                launch(groupDeliveries_.extract(number).mapped().urls);
                              })};
}

StubAppDelegate::URLs StubAppDelegate::takeUndeliveredURLs() {
  URLs result;
  const auto take = [&result](URLs& urls) {
    result.insert(result.end(), urls.begin(), urls.end());
    urls.clear();
  };
  take(pendingGroupURLs_);
  for (auto& [number, delivery] : std::exchange(groupDeliveries_, {})) take(delivery.urls);
  take(pendingURLs_);
  return result;
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
    return launch(std::exchange(pendingGroupURLs_, {}));
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
