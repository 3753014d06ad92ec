#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace corvana::x11 {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

/// Whether the session is Wayland's, so that the X server has only those windows whose programs do not speak Wayland.
bool isWaylandSession();

/// Who asks the window manager for something: a pager, a dock or the like.
inline constexpr std::uint32_t onBehalfOfTheUser = 2;

/// A property of a window.
class Property {
 public:
  explicit Property(Reply<xcb_get_property_reply_t> reply) : reply_(std::move(reply)) {}

  /// Nothing when the window is gone or has no such property, or one of another form.
  std::optional<std::span<const std::uint32_t>> values() const;
  std::optional<std::string_view> text() const;
  std::optional<std::uint32_t> firstValue() const;

 private:
  Reply<xcb_get_property_reply_t> reply_;
};

/// A window that the window manager looks after, as described by the "Extended Window Manager Hints" 1.5
/// (freedesktop.org).
struct Client {
  xcb_window_t window = XCB_WINDOW_NONE;
  std::optional<pid_t> owner;
  std::optional<std::uint16_t> height;
  /// A window of a browser's own: neither menu nor dialog, and neither its task manager nor its file chooser.
  bool isBrowserWindow = false;
};

/// A connection to the X server. One that was lost answers every question with nothing. One thread at a time; each
/// function asks the server and waits for its answer.
class Connection {
 public:
  enum class Atom {
    clientList,
    clientListStacking,
    activeWindow,
    closeWindow,
    restackWindow,
    windowManager,
    name,
    state,
    hiddenState,
    pid,
    windowType,
    normalType,
    role,
    startupID,
    startupInfoBegin,
    startupInfo,
    windowClass,
    originalClass,
    kdeDesktopFile,
    gtkApplicationID,
    utf8
  };

  /// Nothing when there is no X server, or one that has no screen.
  static std::optional<Connection> open();

  xcb_connection_t* get() const { return connection_.get(); }
  xcb_window_t root() const { return root_; }
  xcb_atom_t atom(Atom atom) const { return atoms_[static_cast<std::size_t>(atom)]; }
  bool isLost() const;

  /// Asks for those events of the window (XCB_EVENT_MASK_...), instead of those asked for before.
  void watch(xcb_window_t window, std::uint32_t events) const;

  /// The next event, with everything sent that there is to send; null when there is none yet. Asking something else may
  /// read events, too, of which the descriptor then tells no more: ask for events until there are none.
  Reply<xcb_generic_event_t> nextEvent() const;

  /// `length` is in units of four bytes.
  Property property(xcb_window_t window, Atom property, std::uint32_t length) const;

  /// The same in two steps, so that many questions can be sent before the first answer is waited for.
  xcb_get_property_cookie_t ask(xcb_window_t window, Atom property, std::uint32_t length) const;
  Property answer(xcb_get_property_cookie_t question) const;

  /// Asks the window manager for something about the window, by a message of that type ("Extended Window Manager
  /// Hints" 1.5, "Root Window Messages").
  void tellWindowManager(xcb_window_t window, Atom type, const std::array<std::uint32_t, 5>& data) const;

  /// Asks for the window to come forward and have the user's attention, as a pager or a dock does. `userTime` is when
  /// the user asked for it, in milliseconds of the X server; zero when that is not known.
  void requestActivation(xcb_window_t window, std::uint32_t userTime) const;

  /// The window by which a window manager shows that it runs; what an earlier one has left behind does not count.
  xcb_window_t windowManager() const;

  /// The windows of that list, in its order, also when the window manager that kept it is gone.
  std::optional<std::vector<xcb_window_t>> clientWindows(Atom list) const;

  /// The same with what they are; nothing when there is no window manager that keeps the list.
  std::optional<std::vector<Client>> clients(Atom list) const;

  /// Whether it is a browser's own, by its role: the task manager has none and the file chooser another.
  bool isBrowserWindow(xcb_window_t window) const;
  /// The same for one whose type and role are at hand: it is no menu or dialog either.
  bool isBrowserWindow(const Property& type, const Property& role) const;

  /// The window that has the user's attention, and the process that it belongs to.
  xcb_window_t activeWindow() const;
  std::optional<pid_t> ownerOf(xcb_window_t window) const;

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const { ::xcb_disconnect(connection); }
  };
  static constexpr std::size_t atomCount = 21;

  Connection() = default;
  bool findAtoms();

  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
  xcb_window_t root_ = XCB_WINDOW_NONE;
  std::array<xcb_atom_t, atomCount> atoms_{};
};

}  // namespace corvana::x11
