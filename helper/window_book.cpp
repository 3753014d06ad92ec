#include "helper/window_book.h"

#include <algorithm>
#include <utility>

namespace corvana {

using Outcome = WindowAttribution::Outcome;

void WindowBook::setSight(const BrowserSight& sight, Time now) {
  if (sight.process != sight_.process) {
    runningSince_ = sight.process ? std::optional(now) : std::nullopt;
    goneSince_ = sight.process ? std::nullopt : std::optional(now);
    profileSince_.clear();
  }
  sight_ = sight;
}

void WindowBook::setWindows(const std::vector<BrowserWindow>& windows, std::optional<Window> active, Time now) {
  std::vector<Entry> entries;
  entries.reserve(windows.size());
  for (const BrowserWindow& window : windows) {
    if (Entry* known = find(window.id)) {
      if (known->window.launchMark != window.launchMark) known->lastLaunch = now;
      known->window = window;
      entries.push_back(std::move(*known));
      known->window.id = 0;  // moved from; nobody asks for it by its number any more
    } else {
      entries.push_back({.window = window, .firstSeen = now, .lastLaunch = now, .openedFrom = activeProfile_});
    }
  }
  entries_ = std::move(entries);
  fulfilExpectations();
  if (active) {
    const Entry* entry = find(*active);
    // A window that is not known yet was opened from the one before it.
    if (entry != nullptr && !ownerOf(*entry).profileDirectory.empty())
      activeProfile_ = ownerOf(*entry).profileDirectory;
  }
}

void WindowBook::attribute(Window window, const WindowAttribution& attribution) {
  Entry* entry = find(window);
  if (entry == nullptr || entry->attribution.outcome != Outcome::unknown) return;
  entry->attribution = attribution;
  entry->wasRead = true;
  fulfilExpectations();
}

void WindowBook::setTabGroups(Window window, std::optional<std::vector<BrowserTabGroup>> groups) {
  if (Entry* entry = find(window)) entry->groups = std::move(groups);
}

void WindowBook::expectWindow(const std::string& profileDirectory, Time now) {
  expectations_[profileDirectory] = {.since = now, .until = now + launchTime};
}

WindowCount WindowBook::count(const WindowAudience& audience, Time now) const {
  WindowCount result{.chromeRunning = sight_.process.has_value()};
  bool isEachCertain = true;
  bool mayMiss = sight_.process && !sight_.seesWindows;
  for (const Entry& entry : entries_) {
    const Owner owner = ownerOf(entry);
    if (!mayCount(entry, owner, audience)) continue;
    const bool isTheirs = owner.profileDirectory == audience.profileDirectory;
    mayMiss = mayMiss || !owner.isCertain;  // it could be theirs
    if (!isTheirs) continue;
    if (audience.tabGroup) {
      if (!entry.groups) {
        mayMiss = true;
        continue;
      }
      const auto isShown = [&](const BrowserTabGroup& group) {
        return group.isHere && group.name == audience.tabGroup;
      };
      if (std::ranges::none_of(*entry.groups, isShown)) continue;
    }
    isEachCertain = isEachCertain && owner.isCertain;
    ++result.count;
  }
  const bool isCertainlyZero = !mayMiss && isSettled(now) && !isExpected(audience.profileDirectory, now) &&
                               !(audience.tabGroup && isProfileYoung(audience.profileDirectory, now));
  result.confidence =
      (result.count > 0 ? isEachCertain : isCertainlyZero) ? CountConfidence::certain : CountConfidence::unclassified;
  return result;
}

std::vector<WindowBook::Window> WindowBook::windows(const WindowAudience& audience) const {
  std::vector<Window> result;
  for (const Entry& entry : entries_) {
    const Owner owner = ownerOf(entry);
    if (owner.profileDirectory != audience.profileDirectory || !mayCount(entry, owner, audience)) continue;
    if (audience.tabGroup) {
      const auto isShown = [&](const BrowserTabGroup& group) {
        return group.isHere && group.name == audience.tabGroup;
      };
      if (!entry.groups || std::ranges::none_of(*entry.groups, isShown)) continue;
    }
    result.push_back(entry.window.id);
  }
  return result;
}

std::vector<std::pair<WindowBook::Window, std::string>> WindowBook::likelyProfiles() const {
  std::vector<std::pair<Window, std::string>> result;
  for (const Entry& entry : entries_) {
    std::string profile = ownerOf(entry).profileDirectory;
    if (profile.empty() && !entry.window.launchMark.empty()) {
      profile = profileOfMark_(entry.window.launchMark).value_or("");
    }
    result.emplace_back(entry.window.id, std::move(profile));
  }
  return result;
}

bool WindowBook::isMinimized(Window window) const {
  const Entry* entry = find(window);
  return entry != nullptr && entry->window.isMinimized;
}

std::vector<WindowBook::Window> WindowBook::unattributed() const {
  std::vector<const Entry*> found;
  for (const Entry& entry : entries_) {
    if (entry.attribution.outcome == Outcome::unknown) found.push_back(&entry);
  }
  std::ranges::stable_sort(found, {}, &Entry::firstSeen);
  std::vector<Window> result;
  for (const Entry* entry : found) result.push_back(entry->window.id);
  return result;
}

std::vector<WindowBook::Window> WindowBook::tabbedWindows(const std::string& profileDirectory) const {
  std::vector<Window> result;
  for (const Entry& entry : entries_) {
    const Owner owner = ownerOf(entry);
    if (owner.profileDirectory == profileDirectory && !owner.isPrivate && !entry.window.isAppWindow) {
      result.push_back(entry.window.id);
    }
  }
  return result;
}

const std::vector<BrowserTabGroup>* WindowBook::tabGroups(Window window) const {
  const Entry* entry = find(window);
  return entry != nullptr && entry->groups ? &*entry->groups : nullptr;
}

bool WindowBook::isProfileYoung(const std::string& profileDirectory, Time now) const {
  const auto found = profileSince_.find(profileDirectory);
  return found != profileSince_.end() && now < found->second + startTime;
}

WindowBook::Time WindowBook::firstSeen(Window window) const {
  const Entry* entry = find(window);
  return entry == nullptr ? Time() : entry->firstSeen;
}

std::optional<WindowBook::Time> WindowBook::nextChange(Time now) const {
  std::optional<Time> next;
  const auto consider = [&](Time time) {
    if (time > now && (!next || time < *next)) next = time;
  };
  if (runningSince_) consider(*runningSince_ + startTime);
  if (goneSince_) consider(*goneSince_ + restartTime);
  for (const auto& [profile, expectation] : expectations_) consider(expectation.until);
  for (const auto& [profile, since] : profileSince_) consider(since + startTime);
  return next;
}

const WindowBook::Entry* WindowBook::find(Window window) const {
  const auto found = std::ranges::find(entries_, window, [](const Entry& entry) { return entry.window.id; });
  return found == entries_.end() ? nullptr : &*found;
}

WindowBook::Entry* WindowBook::find(Window window) {
  return const_cast<Entry*>(std::as_const(*this).find(window));
}

WindowBook::Owner WindowBook::ownerOf(const Entry& entry) const {
  if (entry.attribution.outcome == Outcome::profile) {
    return {.profileDirectory = entry.attribution.profileDirectory, .isCertain = true};
  }
  const bool isPrivate = entry.attribution.outcome == Outcome::privateWindow;
  // A launch's mark tells the profile of a private window, which nothing else does. Of another it is a good guess, for
  // where the window itself cannot tell: it says who brought a link last.
  if (!entry.window.launchMark.empty() && (entry.wasRead || !sight_.isTrusted)) {
    if (auto profile = profileOfMark_(entry.window.launchMark)) {
      return {.profileDirectory = std::move(*profile), .isPrivate = isPrivate, .isCertain = isPrivate};
    }
  }
  if (isPrivate) return {.profileDirectory = entry.openedFrom, .isPrivate = true};
  return {};
}

bool WindowBook::mayCount(const Entry& entry, const Owner& owner, const WindowAudience& audience) {
  if (entry.window.isAppWindow && (!audience.countAppWindows || audience.tabGroup)) return false;
  return !owner.isPrivate || (audience.includeIncognito && !audience.tabGroup);
}

bool WindowBook::isExpected(const std::string& profileDirectory, Time now) const {
  const auto found = expectations_.find(profileDirectory);
  return found != expectations_.end() && now < found->second.until;
}

bool WindowBook::isSettled(Time now) const {
  if (runningSince_) return now >= *runningSince_ + startTime;
  return goneSince_ && now >= *goneSince_ + restartTime;
}

void WindowBook::fulfilExpectations() {
  std::map<std::string, Time> since;
  for (const Entry& entry : entries_) {
    const std::string profile = ownerOf(entry).profileDirectory;
    if (profile.empty()) continue;
    const auto [place, isNew] = since.emplace(profile, entry.firstSeen);
    if (!isNew) place->second = std::min(place->second, entry.firstSeen);
    const auto expectation = expectations_.find(profile);
    if (expectation != expectations_.end() && entry.lastLaunch >= expectation->second.since) {
      expectations_.erase(expectation);
    }
  }
  // The first window's time stays when that window closes and others are left.
  for (auto& [profile, time] : since) {
    const auto known = profileSince_.find(profile);
    if (known != profileSince_.end()) time = std::min(time, known->second);
  }
  profileSince_ = std::move(since);
}

}  // namespace corvana
