#include "platform/linux/window_shortcuts_x11.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/linux/x11.h"

namespace corvana {
namespace {

using Atom = x11::Connection::Atom;

/// A key as the X server tells it, and what it is for.
struct Shortcut {
  xcb_keycode_t key;
  std::uint16_t modifiers;
  MenuItem::Action action;
};

constexpr std::uint16_t commandKey = XCB_MOD_MASK_4;
/// Whether these are locked makes no difference to a shortcut: Caps Lock and Num Lock.
constexpr std::array<std::uint16_t, 4> locks{0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
constexpr std::uint16_t withoutLocks = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

/// The keys that write the entries' characters: a character of ASCII is its own key symbol, and each key has a list of
/// symbols, in turns without and with the Shift key, for each of the user's layouts.
std::vector<Shortcut> shortcutsFor(const std::vector<MenuItem>& menu, xcb_connection_t* connection) {
  const xcb_setup_t* setup = ::xcb_get_setup(connection);
  const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  const x11::Reply<xcb_get_keyboard_mapping_reply_t> mapping(::xcb_get_keyboard_mapping_reply(
      connection, ::xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr));
  std::vector<Shortcut> result;
  if (!mapping || mapping->keysyms_per_keycode == 0) return result;
  const std::span symbols(::xcb_get_keyboard_mapping_keysyms(mapping.get()),
                          static_cast<std::size_t>(::xcb_get_keyboard_mapping_keysyms_length(mapping.get())));
  for (std::size_t i = 0; i < symbols.size(); ++i) {
    const std::size_t column = i % mapping->keysyms_per_keycode;
    for (const MenuItem& item : menu) {
      const auto wanted = static_cast<unsigned char>(item.keyEquivalent);
      if (!item.action || wanted == 0 || symbols[i] != wanted) continue;
      const std::uint16_t shift = column % 2 == 1 ? XCB_MOD_MASK_SHIFT : 0;
      const auto key = static_cast<xcb_keycode_t>(setup->min_keycode + i / mapping->keysyms_per_keycode);
      result.push_back({key, static_cast<std::uint16_t>(commandKey | shift), *item.action});
    }
  }
  return result;
}

}  // namespace

struct WindowShortcutsX11::Keyboard {
  x11::Connection connection;
  std::vector<MenuItem> menu;
  std::vector<Shortcut> shortcuts;
  std::vector<xcb_window_t> windows;  // whose keys are taken
  Watch events;

  void take(xcb_window_t window) const {
    for (const Shortcut& shortcut : shortcuts) {
      for (const std::uint16_t lock : locks) {
        ::xcb_grab_key(connection.get(), 0, window, shortcut.modifiers | lock, shortcut.key, XCB_GRAB_MODE_ASYNC,
                       XCB_GRAB_MODE_ASYNC);
      }
    }
  }
  void giveBack(xcb_window_t window) const {
    ::xcb_ungrab_key(connection.get(), XCB_GRAB_ANY, window, XCB_MOD_MASK_ANY);
  }

  /// The user's layout has changed.
  void readAgain() {
    for (const xcb_window_t window : windows) giveBack(window);
    shortcuts = shortcutsFor(menu, connection.get());
    for (const xcb_window_t window : windows) take(window);
  }
};

WindowShortcutsX11::WindowShortcutsX11(EventLoop& loop, std::string startupIDPrefix,
                                       std::function<void(MenuItem::Action, std::uint32_t)> pressed)
    : loop_(loop), startupIDPrefix_(std::move(startupIDPrefix)), pressed_(std::move(pressed)) {}

WindowShortcutsX11::~WindowShortcutsX11() = default;

void WindowShortcutsX11::set(const std::vector<MenuItem>& menu) {
  keyboard_.reset();
  auto connection = x11::Connection::open();
  if (!connection) return;
  auto shortcuts = shortcutsFor(menu, connection->get());
  keyboard_ = std::make_unique<Keyboard>(Keyboard{std::move(*connection), menu, std::move(shortcuts), {}, {}});
  const x11::Connection& display = keyboard_->connection;
  const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
  ::xcb_change_window_attributes(display.get(), display.root(), XCB_CW_EVENT_MASK, &mask);
  keyboard_->events = loop_.whenReadable(::xcb_get_file_descriptor(display.get()), [this] { serve(); });
  takeActiveWindow();
  serve();
}

void WindowShortcutsX11::serve() {
  const x11::Connection& display = keyboard_->connection;
  while (const x11::Reply<xcb_generic_event_t> event{::xcb_poll_for_event(display.get())}) {
    switch (event->response_type & 0x7F) {
      case XCB_PROPERTY_NOTIFY:
        if (reinterpret_cast<const xcb_property_notify_event_t&>(*event).atom == display.atom(Atom::activeWindow)) {
          takeActiveWindow();
        }
        break;
      case XCB_MAPPING_NOTIFY:
        keyboard_->readAgain();
        break;
      case XCB_KEY_PRESS: {
        const auto& press = reinterpret_cast<const xcb_key_press_event_t&>(*event);
        const auto isPressed = [&press](const Shortcut& shortcut) {
          return shortcut.key == press.detail && shortcut.modifiers == (press.state & withoutLocks);
        };
        const auto shortcut = std::ranges::find_if(keyboard_->shortcuts, isPressed);
        if (shortcut != keyboard_->shortcuts.end()) {
          // Later, since what follows may be the end of this object.
          loop_.post([pressed = pressed_, action = shortcut->action, time = press.time] { pressed(action, time); });
        }
        break;
      }
      default:  // among them errors, such as about windows that are gone, or keys that someone else has taken
        break;
    }
  }
  ::xcb_flush(display.get());
  if (display.isLost()) keyboard_.reset();
}

void WindowShortcutsX11::takeActiveWindow() {
  const x11::Connection& display = keyboard_->connection;
  const xcb_window_t window = display.activeWindow();
  if (window == XCB_WINDOW_NONE || std::ranges::count(keyboard_->windows, window) > 0) return;
  const x11::Property startupID = display.property(window, Atom::startupID, 64);
  if (!startupID.text().value_or("").starts_with(startupIDPrefix_)) return;
  // Those that are gone are forgotten, lest the list grow for ever; the server has forgotten them, too.
  if (const auto clients = display.clients(Atom::clientList)) {
    std::erase_if(keyboard_->windows, [&clients](xcb_window_t known) {
      return std::ranges::none_of(*clients, [known](const x11::Client& client) { return client.window == known; });
    });
  }
  keyboard_->windows.push_back(window);
  keyboard_->take(window);
}

}  // namespace corvana
