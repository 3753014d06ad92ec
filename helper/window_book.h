#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/ipc/messages.h"
#include "helper/window_attribution.h"
#include "platform/windows/browser_windows.h"

namespace corvana {

/// Which windows count as a proxy app's.
struct WindowAudience {
  std::string profileDirectory;
  std::optional<std::string> tabGroup;
  bool includeIncognito = true;
  bool countAppWindows = false;

  bool operator==(const WindowAudience&) const = default;
};

struct WindowCount {
  std::int64_t count = 0;
  CountConfidence confidence = CountConfidence::unclassified;
  bool chromeRunning = false;

  bool operator==(const WindowCount&) const = default;
};

/// What is known of Chrome's windows, and what that says of each proxy app's. It asks nobody and keeps no time: who
/// owns it tells it what happens, and when.
///
/// The dangerous message is a certain zero, upon which an app quits. There is one only when all windows of Chrome are
/// seen and known to be others', none is on its way, and Chrome has neither just started nor just ended.
class WindowBook {
 public:
  using Window = BrowserWindows::Window;
  using Time = std::chrono::steady_clock::time_point;

  /// How long a launch may take to show its window.
  static constexpr std::chrono::seconds launchTime{10};
  /// How long after its start Chrome may still be opening windows, and after the first one of a profile its tab groups.
  static constexpr std::chrono::seconds startTime{3};
  /// How long Chrome may be gone only to be restarted, as by an update.
  static constexpr std::chrono::seconds restartTime{4};

  /// Who a launch mark belongs to: the folder of the app's profile, nothing for a mark that is no app's.
  using ProfileOfMark = std::function<std::optional<std::string>(std::string_view)>;

  explicit WindowBook(ProfileOfMark profileOfMark, Time now)
      : profileOfMark_(std::move(profileOfMark)), goneSince_(now) {}

  void setSight(const BrowserSight& sight, Time now);
  /// All windows that there are, the lowest first, and the one that is active.
  void setWindows(const std::vector<BrowserWindow>& windows, std::optional<Window> active, Time now);
  /// What a window says of itself, be it nothing. A profile that it has once named holds for its life.
  void attribute(Window window, const WindowAttribution& attribution);
  /// The groups that a window shows; nothing when they are not known.
  void setTabGroups(Window window, std::optional<std::vector<BrowserTabGroup>> groups);
  /// A window of the profile has been asked for, or a link has been sent to one.
  void expectWindow(const std::string& profileDirectory, Time now);

  const BrowserSight& sight() const { return sight_; }
  WindowCount count(const WindowAudience& audience, Time now) const;
  /// The windows that are counted, the lowest first.
  std::vector<Window> windows(const WindowAudience& audience) const;
  /// Each window with the profile that it is, or by its launch's mark probably is, of; empty where nothing tells.
  std::vector<std::pair<Window, std::string>> likelyProfiles() const;
  bool isMinimized(Window window) const;
  bool has(Window window) const { return find(window) != nullptr; }
  std::size_t size() const { return entries_.size(); }
  /// Of which it is not known whose they are, the oldest first.
  std::vector<Window> unattributed() const;
  /// The windows with tabs of the profile's own, private ones aside: those that may show its tab groups.
  std::vector<Window> tabbedWindows(const std::string& profileDirectory) const;
  /// What is known of the groups in it; nothing when they were not read.
  const std::vector<BrowserTabGroup>* tabGroups(Window window) const;
  /// Whether the profile's first window has just come, so that its tab groups may still be missing.
  bool isProfileYoung(const std::string& profileDirectory, Time now) const;
  Time firstSeen(Window window) const;

  /// When counts change by time alone, next after `now`.
  std::optional<Time> nextChange(Time now) const;

 private:
  struct Entry {
    BrowserWindow window;
    Time firstSeen;
    /// When a launch opened it, or brought a link to it.
    Time lastLaunch;
    WindowAttribution attribution;
    bool wasRead = false;
    /// The profile of the window that was active when this one came: the likely one of a private window.
    std::string openedFrom;
    std::optional<std::vector<BrowserTabGroup>> groups;
  };
  struct Expectation {
    Time since;
    Time until;
  };
  /// Whose a window is for counting.
  struct Owner {
    /// Empty when nobody's is known.
    std::string profileDirectory;
    bool isPrivate = false;
    bool isCertain = false;
  };

  const Entry* find(Window window) const;
  Entry* find(Window window);
  Owner ownerOf(const Entry& entry) const;
  static bool mayCount(const Entry& entry, const Owner& owner, const WindowAudience& audience);
  bool isExpected(const std::string& profileDirectory, Time now) const;
  bool isSettled(Time now) const;
  void fulfilExpectations();

  ProfileOfMark profileOfMark_;
  BrowserSight sight_;
  /// When Chrome's present process was seen first, and when it was gone.
  std::optional<Time> runningSince_;
  std::optional<Time> goneSince_;
  /// Lowest first.
  std::vector<Entry> entries_;
  std::string activeProfile_;
  std::map<std::string, Expectation> expectations_;
  /// When the first of a profile's present windows came.
  std::map<std::string, Time> profileSince_;
};

}  // namespace corvana
