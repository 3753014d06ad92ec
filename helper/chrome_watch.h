#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "helper/profile_list.h"
#include "helper/window_book.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/scheduler.h"
#include "platform/windows/browser_windows.h"

namespace corvana {

/// Keeps the window book true: takes in what changes, and reads of each new window whose it is, again and again until
/// it says so, since Chrome names a window some time after it has opened it. Nothing wakes it while nothing changes.
/// Main thread.
class ChromeWatch final : private BrowserWindows::Observer {
 public:
  /// How soon a window that does not say whose it is is read again, at first and at most; and for how long. After that
  /// only a change has it read: Chrome writes the name of a new profile to its file within ten seconds.
  static constexpr std::chrono::milliseconds firstPause{5};
  static constexpr std::chrono::milliseconds longestPause{500};
  static constexpr std::chrono::seconds readingTime{15};
  /// How long a starting Chrome may take to let assistive technology in.
  static constexpr std::chrono::seconds trustTime{5};

  ChromeWatch(Scheduler& mainQueue, const Clock& clock, BrowserWindows& windows, ProfileList& profiles,
              WindowBook::ProfileOfMark profileOfMark);
  ChromeWatch(const ChromeWatch&) = delete;
  ChromeWatch& operator=(const ChromeWatch&) = delete;
  ~ChromeWatch() override;

  /// Called after changes, once in a turn of the main queue.
  std::function<void()> onChange;

  /// Begins to watch.
  void start();

  const WindowBook& book() const { return book_; }
  WindowCount count(const WindowAudience& audience) const { return book_.count(audience, clock_.now()); }
  bool isProfileYoung(const std::string& profileDirectory) const;
  /// Whether windows can be told apart. A Chrome that has just started is given the time to let us.
  bool isTrusted() const { return isTrusted_; }

  void expectWindow(const std::string& profileDirectory);
  /// Asks for everything anew that changes are usually told of.
  void lookAgain();
  /// The profiles whose tab groups somebody needs to know.
  void setProfilesWithGroups(std::set<std::string> profiles);
  /// Reads all groups of the profile anew; `done` is told when that is over.
  void readTabGroups(const std::string& profileDirectory, std::function<void()> done);

 private:
  using Window = BrowserWindows::Window;
  struct Reading {
    std::chrono::milliseconds pause = firstPause;
    bool isUnderWay = false;
    Timer next;
  };

  void windowsChanged() override;
  void sightChanged() override;
  void tabGroupsChanged() override;

  void readUnattributed();
  void read(Window window);
  void didRead(Window window, const std::optional<BrowserWindowReading>& reading);
  void readAgain(bool fromTheStart);
  void readNeededTabGroups();
  void updateTrust();
  void announce();

  Scheduler& mainQueue_;
  const Clock& clock_;
  BrowserWindows& windows_;
  ProfileList& profiles_;
  WindowBook book_;
  std::map<Window, Reading> readings_;
  std::set<std::string> profilesWithGroups_;
  /// Of whose groups a reading is under way, or has to follow the one that is.
  std::set<Window> groupReadings_;
  std::set<Window> staleGroups_;
  bool isTrusted_ = true;
  Timer trustTimer_;
  Timer changeTimer_;
  bool isAnnouncementPosted_ = false;
  Lifetime lifetime_;
};

}  // namespace corvana
