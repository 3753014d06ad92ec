#include "platform/windows/window_shortcuts_x11.h"

#include <array>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/windows/x11.h"

namespace corvana {
namespace {

using Atom = x11::Connection::Atom;

/// A key as the X server tells it, and what it is for.
struct Shortcut {
  xcb_keycode_t key;
  /// Which of the user's two layouts it writes the character in.
  std::size_t layout;
  std::uint16_t modifiers;
  MenuItem::Action action;
};

constexpr std::uint16_t commandKey = XCB_MOD_MASK_4;
/// Whether these are locked makes no difference to a shortcut: Caps Lock and, where it has its usual place, Num Lock.
constexpr std::array<std::uint16_t, 4> locks{0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
constexpr std::uint16_t withoutLocks = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

/// In the state of a key event, above the modifiers ("The X Keyboard Extension: Protocol Specification").
std::size_t layoutIn(std::uint16_t state) {
  return (state >> 13) & 3;
}

/// The keys that write the entries' characters. A character of ASCII is its own key symbol; the first four symbols of a
/// key are what it writes without and with the Shift key in the first layout, then in the second.
std::vector<Shortcut> shortcutsFor(const std::vector<MenuItem>& menu, xcb_connection_t* connection) {
  const xcb_setup_t* setup = ::xcb_get_setup(connection);
  const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  const x11::Reply<xcb_get_keyboard_mapping_reply_t> mapping(::xcb_get_keyboard_mapping_reply(
      connection, ::xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr));
  std::vector<Shortcut> result;
  if (!mapping || mapping->keysyms_per_keycode == 0) return result;
  constexpr std::size_t columns = 4;
  const std::span symbols(::xcb_get_keyboard_mapping_keysyms(mapping.get()),
                          static_cast<std::size_t>(::xcb_get_keyboard_mapping_keysyms_length(mapping.get())));
  for (std::size_t i = 0; i < symbols.size(); ++i) {
    const std::size_t column = i % mapping->keysyms_per_keycode;
    for (const MenuItem& item : menu) {
      const auto wanted = static_cast<unsigned char>(item.keyEquivalent);
      if (column >= columns || !item.action || wanted == 0 || symbols[i] != wanted) continue;
      const std::uint16_t shift = column % 2 == 1 ? XCB_MOD_MASK_SHIFT : 0;
      const auto key = static_cast<xcb_keycode_t>(setup->min_keycode + i / mapping->keysyms_per_keycode);
      result.push_back({key, column / 2, static_cast<std::uint16_t>(commandKey | shift), *item.action});
    }
  }
  return result;
}

}  // namespace

struct WindowShortcutsX11::Keyboard {
  x11::Connection connection;
  std::vector<MenuItem> menu;
  std::vector<Shortcut> shortcuts;
  /// The window that has the user's attention, if it is the application's, and so the only one whose keys are taken.
  xcb_window_t window = XCB_WINDOW_NONE;
  /// The same, if it is a browser's: it can become the application's by a link that goes there.
  xcb_window_t watchedWindow = XCB_WINDOW_NONE;
  /// The key that was let go last. When it is pressed again in the same instant, it is being held.
  xcb_keycode_t releasedKey = 0;
  xcb_timestamp_t releaseTime = 0;
  Watch events;

  void take() const {
    for (const Shortcut& shortcut : shortcuts) {
      for (const std::uint16_t lock : locks) {
        ::xcb_grab_key(connection.get(), 0, window, shortcut.modifiers | lock, shortcut.key, XCB_GRAB_MODE_ASYNC,
                       XCB_GRAB_MODE_ASYNC);
      }
    }
  }
  void giveBack() const {
    if (window != XCB_WINDOW_NONE) {
      ::xcb_ungrab_key(connection.get(), XCB_GRAB_ANY, window, XCB_MOD_MASK_ANY);
    }
  }

  /// The user's layout has changed.
  void readAgain() {
    giveBack();
    shortcuts = shortcutsFor(menu, connection.get());
    if (window != XCB_WINDOW_NONE) take();
  }

  std::optional<MenuItem::Action> actionOf(const xcb_key_press_event_t& press) const {
    if (press.detail == releasedKey && press.time == releaseTime) return std::nullopt;
    for (const Shortcut& shortcut : shortcuts) {
      if (shortcut.key == press.detail && shortcut.modifiers == (press.state & withoutLocks) &&
          shortcut.layout == layoutIn(press.state)) {
        return shortcut.action;
      }
    }
    return std::nullopt;
  }
};

WindowShortcutsX11::WindowShortcutsX11(EventLoop& loop, std::string startupIDPrefix,
                                       std::function<void(MenuItem::Action, std::uint32_t)> pressed)
    : loop_(loop), startupIDPrefix_(std::move(startupIDPrefix)), pressed_(std::move(pressed)) {}

WindowShortcutsX11::~WindowShortcutsX11() = default;

void WindowShortcutsX11::set(const std::vector<MenuItem>& menu) {
  keyboard_.reset();
  // Chrome's windows are Wayland's there, and an X server would be started just for this.
  if (x11::isWaylandSession()) return;
  auto connection = x11::Connection::open();
  if (!connection) return;
  auto shortcuts = shortcutsFor(menu, connection->get());
  keyboard_ = std::make_unique<Keyboard>(Keyboard{std::move(*connection), menu, std::move(shortcuts)});
  const x11::Connection& display = keyboard_->connection;
  display.watch(display.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
  try {
    keyboard_->events = loop_.whenReadable(::xcb_get_file_descriptor(display.get()), [this] { serve(); });
  } catch (const std::system_error&) {
    return keyboard_.reset();  // out of descriptors: it has to do without shortcuts
  }
  takeActiveWindow();
  serve();
}

void WindowShortcutsX11::serve() {
  const x11::Connection& display = keyboard_->connection;
  while (const auto event = display.nextEvent()) {
    switch (event->response_type & 0x7F) {
      case XCB_PROPERTY_NOTIFY:
        if (const xcb_atom_t property = reinterpret_cast<const xcb_property_notify_event_t&>(*event).atom;
            property == display.atom(Atom::activeWindow) || property == display.atom(Atom::startupID)) {
          takeActiveWindow();
        }
        break;
      case XCB_MAPPING_NOTIFY:
        keyboard_->readAgain();
        break;
      case XCB_KEY_RELEASE:
        keyboard_->releasedKey = reinterpret_cast<const xcb_key_release_event_t&>(*event).detail;
        keyboard_->releaseTime = reinterpret_cast<const xcb_key_release_event_t&>(*event).time;
        break;
      case XCB_KEY_PRESS: {
        const auto& press = reinterpret_cast<const xcb_key_press_event_t&>(*event);
        if (const auto action = keyboard_->actionOf(press)) {
          // Later, since what follows may be the end of this object.
          loop_.post([pressed = pressed_, action = *action, time = press.time] { pressed(action, time); });
        }
        break;
      }
      default:  // among them errors, such as about windows that are gone, or keys that someone else has taken
        break;
    }
  }
  if (display.isLost()) keyboard_.reset();
}

void WindowShortcutsX11::watch(std::uint32_t window) {
  const x11::Connection& display = keyboard_->connection;
  const xcb_window_t before = std::exchange(keyboard_->watchedWindow, window);
  if (before == window) return;
  if (before != XCB_WINDOW_NONE) display.watch(before, XCB_EVENT_MASK_NO_EVENT);
  if (window != XCB_WINDOW_NONE) display.watch(window, XCB_EVENT_MASK_PROPERTY_CHANGE);
}

void WindowShortcutsX11::takeActiveWindow() {
  const x11::Connection& display = keyboard_->connection;
  const xcb_window_t window = display.activeWindow();
  watch(display.isBrowserWindow(window) ? window : xcb_window_t{XCB_WINDOW_NONE});
  const x11::Property startupID = display.property(window, Atom::startupID, 64);
  const bool isOurs = startupID.text().value_or("").starts_with(startupIDPrefix_);
  keyboard_->giveBack();
  keyboard_->window = isOurs ? window : xcb_window_t{XCB_WINDOW_NONE};
  if (isOurs) keyboard_->take();
}

}  // namespace corvana
