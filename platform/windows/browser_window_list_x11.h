#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"
#include "platform/windows/browser_windows.h"
#include "platform/windows/window_pairing.h"
#include "platform/windows/x11.h"

namespace corvana {

/// One browser's windows as the X server's window manager keeps them ("Extended Window Manager Hints" 1.5,
/// freedesktop.org), told of by events: nothing is asked while nothing changes. When the X server ends there are none;
/// it is looked for again each minute. Main thread; what it asks, it asks in batches, and waits for the X server only.
class BrowserWindowListX11 {
 public:
  /// `changed` is told that any of the answers below may be another one.
  BrowserWindowListX11(EventLoop& loop, Task changed);
  BrowserWindowListX11(const BrowserWindowListX11&) = delete;
  BrowserWindowListX11& operator=(const BrowserWindowListX11&) = delete;

  /// Whose windows they are.
  void setProcess(std::optional<pid_t> process);

  /// Whether there is a list of all windows. Under Wayland there is none: the X server knows only windows of programs
  /// that do not speak Wayland.
  bool isComplete() const { return isComplete_; }

  /// From the lowest to the topmost.
  std::vector<BrowserWindow> windows() const;
  bool contains(BrowserWindows::Window window) const;

  /// The window that has the user's attention, whosever it is; XCB_WINDOW_NONE for none.
  xcb_window_t activeWindow() const { return activeWindow_; }

  /// How each of the windows looks at this moment, nothing for those that are gone.
  std::vector<std::optional<WindowPairing::Look>> looks(const std::vector<BrowserWindows::Window>& windows);

  /// Null without an X server. Only to send something: answers and events are this object's.
  const x11::Connection* connection() const { return connection_ ? &*connection_ : nullptr; }

 private:
  static constexpr std::chrono::minutes retryPeriod{1};

  /// A window of the list. Those that are not the browser's are kept to be asked about only once.
  struct Entry {
    bool isBrowsers = false;
    BrowserWindow window;
  };

  /// Notes whether the new value is another one.
  template <class Value>
  void change(Value& value, Value now) {
    if (value == now) return;
    value = std::move(now);
    hasChanged_ = true;
  }

  void connect();
  void loseConnection();
  void serve();
  void onEvent(const xcb_generic_event_t& event);
  void findWindowManager();
  void readList();
  void adopt(const std::vector<xcb_window_t>& windows);
  void readStates();

  EventLoop& loop_;
  Task changed_;
  std::optional<pid_t> process_;
  std::optional<x11::Connection> connection_;
  std::vector<xcb_window_t> order_;
  std::map<xcb_window_t, Entry> entries_;
  bool isComplete_ = false;
  xcb_window_t activeWindow_ = XCB_WINDOW_NONE;
  xcb_window_t windowManager_ = XCB_WINDOW_NONE;
  bool hasChanged_ = false;  // and nobody has been told yet
  // What events have made out of date.
  bool isWindowManagerStale_ = false;
  bool isListStale_ = false;
  bool isActiveWindowStale_ = false;
  std::set<xcb_window_t> staleStates_;
  Watch events_;
  Timer retry_;
  Lifetime lifetime_;
};

}  // namespace corvana
