#include "helper/chrome_watch.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/identity/log.h"

namespace corvana {

ChromeWatch::ChromeWatch(Scheduler& mainQueue, const Clock& clock, BrowserWindows& windows, ProfileList& profiles,
                         WindowBook::ProfileOfMark profileOfMark)
    : mainQueue_(mainQueue),
      clock_(clock),
      windows_(windows),
      profiles_(profiles),
      book_(std::move(profileOfMark), clock.now()) {}

ChromeWatch::~ChromeWatch() {
  windows_.setObserver(nullptr);
}

void ChromeWatch::start() {
  profiles_.reloadIfChanged();
  windows_.setObserver(this);
  sightChanged();
  windowsChanged();
}

bool ChromeWatch::isProfileYoung(const std::string& profileDirectory) const {
  return book_.isProfileYoung(profileDirectory, clock_.now());
}

void ChromeWatch::expectWindow(const std::string& profileDirectory) {
  book_.expectWindow(profileDirectory, clock_.now());
  announce();
}

void ChromeWatch::lookAgain() {
  profiles_.reloadIfChanged();
  sightChanged();
  windowsChanged();
  readAgain(true);
}

void ChromeWatch::setProfilesWithGroups(std::set<std::string> profiles) {
  if (profiles == profilesWithGroups_) return;
  profilesWithGroups_ = std::move(profiles);
  windows_.setWatchesTabGroups(!profilesWithGroups_.empty());
  readNeededTabGroups();
}

void ChromeWatch::windowsChanged() {
  book_.setWindows(windows_.windows(), windows_.activeWindow(), clock_.now());
  std::erase_if(readings_, [this](const auto& reading) { return !book_.has(reading.first); });
  readUnattributed();
  readNeededTabGroups();
  announce();
}

void ChromeWatch::sightChanged() {
  const BrowserSight before = book_.sight();
  book_.setSight(windows_.sight(), clock_.now());
  const BrowserSight& sight = book_.sight();
  if (sight.isTrusted && !before.isTrusted) readAgain(true);
  if (sight.process != before.process || sight.isTrusted != before.isTrusted) updateTrust();
  announce();
}

void ChromeWatch::tabGroupsChanged() {
  for (const std::string& profile : profilesWithGroups_) {
    for (const Window window : book_.tabbedWindows(profile)) staleGroups_.insert(window);
  }
  readNeededTabGroups();
}

void ChromeWatch::readUnattributed() {
  for (const Window window : book_.unattributed()) {
    if (!readings_.contains(window)) read(window);
  }
}

void ChromeWatch::read(Window window) {
  readings_[window].isUnderWay = true;
  windows_.read(window, lifetime_.guard([this, window](const std::optional<BrowserWindowReading>& reading) {
    didRead(window, reading);
  }));
}

void ChromeWatch::didRead(Window window, const std::optional<BrowserWindowReading>& reading) {
  const auto found = readings_.find(window);
  if (found == readings_.end()) return;  // it has closed
  found->second.isUnderWay = false;
  if (profiles_.reloadIfChanged()) readAgain(false);
  if (reading) {
    const WindowAttribution attribution = WindowAttribution::from(*reading, profiles_.profiles());
    book_.attribute(window, attribution);
    announce();
    if (attribution.outcome != WindowAttribution::Outcome::unknown) {
      readings_.erase(found);
      return readNeededTabGroups();
    }
  }
  if (clock_.now() >= book_.firstSeen(window) + readingTime) {
    found->second.next = {};
    return;
  }
  found->second.next = mainQueue_.after(found->second.pause, [this, window] { read(window); });
  found->second.pause = std::min(found->second.pause * 2, longestPause);
}

void ChromeWatch::readAgain(bool fromTheStart) {
  for (auto& [window, reading] : readings_) {
    if (reading.isUnderWay) continue;
    if (fromTheStart) reading.pause = firstPause;
    reading.next = mainQueue_.after(std::chrono::nanoseconds(0), [this, id = window] { read(id); });
  }
}

void ChromeWatch::readNeededTabGroups() {
  for (const std::string& profile : profilesWithGroups_) {
    for (const Window window : book_.tabbedWindows(profile)) {
      if (groupReadings_.contains(window)) continue;
      if (book_.tabGroups(window) != nullptr && staleGroups_.erase(window) == 0) continue;
      staleGroups_.erase(window);
      groupReadings_.insert(window);
      windows_.tabGroups(window,
                         lifetime_.guard([this, window](const std::optional<std::vector<BrowserTabGroup>>& groups) {
                           groupReadings_.erase(window);
                           if (groups) book_.setTabGroups(window, groups);
                           if (staleGroups_.contains(window)) readNeededTabGroups();
                           announce();
                         }));
    }
  }
}

void ChromeWatch::readTabGroups(const std::string& profileDirectory, std::function<void()> done) {
  const std::vector<Window> tabbed = book_.tabbedWindows(profileDirectory);
  if (tabbed.empty()) return mainQueue_.post(std::move(done));
  const auto left = std::make_shared<std::size_t>(tabbed.size());
  for (const Window window : tabbed) {
    windows_.tabGroups(
        window, lifetime_.guard([this, window, left, done](const std::optional<std::vector<BrowserTabGroup>>& groups) {
          book_.setTabGroups(window, groups);
          announce();
          if (--*left == 0) done();
        }));
  }
}

void ChromeWatch::updateTrust() {
  const BrowserSight& sight = book_.sight();
  trustTimer_ = {};
  if (!sight.process || sight.isTrusted) {
    isTrusted_ = true;
    return;
  }
  if (!isTrusted_) return;
  trustTimer_ = mainQueue_.after(trustTime, [this] {
    isTrusted_ = false;
    Log::ax.notice("Chrome's windows cannot be told apart: ", book_.sight().problem);
    announce();
  });
}

void ChromeWatch::announce() {
  if (isAnnouncementPosted_) return;
  isAnnouncementPosted_ = true;
  mainQueue_.post(lifetime_.guard([this] {
    isAnnouncementPosted_ = false;
    const auto now = clock_.now();
    const auto next = book_.nextChange(now);
    changeTimer_ = next ? mainQueue_.after(*next - now, [this] { announce(); }) : Timer();
    if (onChange) onChange();
  }));
}

}  // namespace corvana
