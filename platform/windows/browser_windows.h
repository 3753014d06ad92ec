#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace corvana {

/// One of Chrome's top-level windows that hold pages; no dialog, menu or bubble. What stands here is known as soon as
/// the window is; what else there is to know has to be read.
struct BrowserWindow {
  /// Its own for as long as it is open, and in a process's life seldom another's.
  std::uint64_t id = 0;
  /// A window without a tab strip: a web application's or a pop-up.
  bool isAppWindow = false;
  bool isMinimized = false;
  /// The mark of the launch that opened the window or brought a link to it last (LaunchContext's start-up ID); empty
  /// for windows that the user opened, and on systems without such marks.
  std::string launchMark;

  bool operator==(const BrowserWindow&) const = default;
};

/// What a window says of itself, read at one moment.
struct BrowserWindowReading {
  /// For assistive technology: the page's title, marks of its state, Chrome's own name and the profile's.
  std::string name;
  /// For the window's frame: the page's title and Chrome's own name, shorter by the profile's. Nothing on systems that
  /// do not show two.
  std::optional<std::string> title;
  /// On the toolbar's button for profiles; nothing where the window has none.
  std::optional<std::string> profileButton;

  bool operator==(const BrowserWindowReading&) const = default;
};

/// A tab group that a window offers to open, or shows.
struct BrowserTabGroup {
  std::string name;
  /// It is in Chrome's list of saved groups.
  bool isSaved = false;
  /// It is open in some window of the profile.
  bool isOpen = false;
  /// It is open in this window.
  bool isHere = false;
  /// All tabs of this window belong to it.
  bool isAlone = false;

  bool operator==(const BrowserTabGroup&) const = default;
};

/// What can be seen of Chrome.
struct BrowserSight {
  /// Chrome's main process; nothing while it does not run.
  std::optional<pid_t> process;
  /// `windows` are all windows that there are, at this moment.
  bool seesWindows = false;
  /// Windows can be read, and tab groups handled: Chrome lets assistive technology in, and the system us.
  bool isTrusted = false;
  /// Why not, and what to do about it, for people; empty when all is well or Chrome does not run.
  std::string problem;

  bool operator==(const BrowserSight&) const = default;
};

/// Chrome's windows and tab groups, as the desktop and its assistive technology show them: the helper's eyes and hands.
///
/// Nothing here waits: each operation calls its completion once, later, on the main thread, also when Chrome does not
/// answer (then after `answerLimit`), and never after this object is gone. A window may close at any time; what is
/// asked of it then fails. No operation presses a button of Chrome's dialogs. Main thread.
class BrowserWindows {
 public:
  /// Told that something has changed, at most once in each turn of the main queue for each kind; what, is to be asked.
  class Observer {
   public:
    virtual ~Observer() = default;
    /// `windows` or one of their members. What windows say of themselves is not watched.
    virtual void windowsChanged() = 0;
    virtual void sightChanged() = 0;
    /// A tab group of some window was opened, closed, saved or renamed; only while groups are watched.
    virtual void tabGroupsChanged() = 0;
  };

  template <class Result>
  using Completion = std::function<void(Result)>;
  using Window = std::uint64_t;

  virtual ~BrowserWindows() = default;

  /// From now on, and at once for what is there already. The observer outlives this object or is replaced by null.
  virtual void setObserver(Observer* observer) = 0;

  virtual BrowserSight sight() const = 0;

  /// In the order in which they lie, the lowest first.
  virtual std::vector<BrowserWindow> windows() const = 0;

  /// The window that has the user's attention, where it is one of Chrome's.
  virtual std::optional<Window> activeWindow() const = 0;

  /// What the window says now; nothing when that cannot be told yet, or not without mistaking another for it.
  virtual void read(Window window, Completion<std::optional<BrowserWindowReading>> completion) = 0;

  /// Brings the windows forward in this order, the last one with the user's attention; a minimised one is restored when
  /// it is the last. True once that one is active, false when the system does not make it so in half a second.
  virtual void raise(std::vector<Window> windows, Completion<bool> completion) = 0;

  /// Asks Chrome to close the window, as its user would; whether it goes is to be seen.
  virtual void close(Window window) = 0;

  /// The windows in which Chrome asks its user something about a page just now.
  virtual void promptingWindows(Completion<std::vector<Window>> completion) = 0;

  /// Tab groups are watched, which costs Chrome a little, for as long as somebody needs them.
  virtual void setWatchesTabGroups(bool watches) = 0;

  /// The groups that the window offers or shows, those of its profile; nothing when they cannot be read. Chrome knows
  /// its saved groups some 0.3 s after a window's opening.
  virtual void tabGroups(Window window, Completion<std::optional<std::vector<BrowserTabGroup>>> completion) = 0;

  /// Opens the saved group of exactly that name, where it is open brings it forward; in the profile of the window. True
  /// when Chrome has accepted that.
  virtual void openTabGroup(Window window, std::string name, Completion<bool> completion) = 0;

  /// Closes the group of that name in the window, whose other tabs stay; it stays saved.
  virtual void closeTabGroup(Window window, std::string name, Completion<bool> completion) = 0;

  /// Moves the group of that name from the window to a new one of its own.
  virtual void moveTabGroupToOwnWindow(Window window, std::string name, Completion<bool> completion) = 0;
};

}  // namespace corvana
