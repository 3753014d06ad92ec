#include "platform/windows/browser_window_list_x11.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace corvana {
namespace {

using Atom = x11::Connection::Atom;

// In units of four bytes.
constexpr std::uint32_t longestTitle = 16'384;
constexpr std::uint32_t longestStartupID = 256;
constexpr std::uint32_t mostStates = 64;

}  // namespace

BrowserWindowListX11::BrowserWindowListX11(EventLoop& loop, Task changed) : loop_(loop) {
  // An X server would be started just for this.
  if (!x11::isWaylandSession()) connect();
  changed_ = std::move(changed);
}

void BrowserWindowListX11::connect() {
  connection_ = x11::Connection::open();
  if (!connection_) return;
  // First of all, so that no change goes unseen.
  connection_->watch(connection_->root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
  try {
    events_ = loop_.whenReadable(::xcb_get_file_descriptor(connection_->get()), [this] { serve(); });
  } catch (const std::system_error&) {
    connection_.reset();
    return;
  }
  retry_ = {};
  isWindowManagerStale_ = isListStale_ = isActiveWindowStale_ = true;
  serve();
}

void BrowserWindowListX11::loseConnection() {
  events_ = {};
  connection_.reset();
  order_.clear();
  entries_.clear();
  isComplete_ = false;
  activeWindow_ = windowManager_ = XCB_WINDOW_NONE;
  retry_ = loop_.every(retryPeriod, [this] { connect(); });
  if (changed_) changed_();
}

void BrowserWindowListX11::setProcess(std::optional<pid_t> process) {
  process_ = process;
  entries_.clear();
  order_.clear();
  isListStale_ = hasChanged_ = true;
  serve();
}

std::vector<BrowserWindow> BrowserWindowListX11::windows() const {
  std::vector<BrowserWindow> result;
  for (const xcb_window_t window : order_) {
    if (const Entry& entry = entries_.at(window); entry.isBrowsers) result.push_back(entry.window);
  }
  return result;
}

bool BrowserWindowListX11::contains(BrowserWindows::Window window) const {
  const auto entry = entries_.find(static_cast<xcb_window_t>(window));
  return entry != entries_.end() && entry->second.isBrowsers;
}

/// Answers bring events with them, of which the descriptor then tells no more: it goes on until there are none.
void BrowserWindowListX11::serve() {
  if (!connection_) return;
  do {
    while (const auto event = connection_->nextEvent()) onEvent(*event);
    if (std::exchange(isWindowManagerStale_, false)) findWindowManager();
    if (std::exchange(isListStale_, false)) readList();
    readStates();
    if (std::exchange(isActiveWindowStale_, false)) change(activeWindow_, connection_->activeWindow());
    if (connection_->isLost()) return loseConnection();
    while (const auto event = connection_->nextEvent()) onEvent(*event);
  } while (isListStale_ || isActiveWindowStale_ || !staleStates_.empty());
  if (std::exchange(hasChanged_, false) && changed_) changed_();
}

void BrowserWindowListX11::onEvent(const xcb_generic_event_t& event) {
  switch (event.response_type & 0x7F) {
    case XCB_PROPERTY_NOTIFY: {
      const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
      const auto is = [&](Atom atom) { return change.atom == connection_->atom(atom); };
      if (change.window == connection_->root()) {
        isWindowManagerStale_ = isWindowManagerStale_ || is(Atom::windowManager);
        isListStale_ = isListStale_ || isWindowManagerStale_ || is(Atom::clientList) || is(Atom::clientListStacking);
        isActiveWindowStale_ = isActiveWindowStale_ || is(Atom::activeWindow);
      } else if (is(Atom::state) || is(Atom::startupID)) {
        staleStates_.insert(change.window);
      }
      break;
    }
    case XCB_DESTROY_NOTIFY:
      if (reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window == windowManager_) {
        isWindowManagerStale_ = isListStale_ = true;
      }
      break;
    default:  // among them errors, about windows that are gone
      break;
  }
}

/// Its end is watched: without a window manager its last list stays, and is wrong.
void BrowserWindowListX11::findWindowManager() {
  windowManager_ = connection_->windowManager();
  if (windowManager_ == XCB_WINDOW_NONE) return;
  connection_->watch(windowManager_, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
  // Gone before it was watched?
  windowManager_ = connection_->windowManager();
}

void BrowserWindowListX11::readList() {
  auto list = windowManager_ == XCB_WINDOW_NONE ? std::nullopt : connection_->clientWindows(Atom::clientListStacking);
  if (!list && windowManager_ != XCB_WINDOW_NONE) list = connection_->clientWindows(Atom::clientList);
  change(isComplete_, list.has_value());
  if (list && *list == order_ && entries_.size() == order_.size()) return;
  change(order_, list.value_or(std::vector<xcb_window_t>()));
  const std::set<xcb_window_t> listed(order_.begin(), order_.end());
  std::erase_if(entries_, [&](const auto& entry) { return !listed.contains(entry.first); });
  std::vector<xcb_window_t> fresh;
  std::ranges::copy_if(listed, std::back_inserter(fresh), [&](auto window) { return !entries_.contains(window); });
  adopt(fresh);
}

/// Takes up windows that are new in the list.
void BrowserWindowListX11::adopt(const std::vector<xcb_window_t>& windows) {
  struct Questions {
    xcb_get_property_cookie_t pid, type, role;
  };
  std::vector<Questions> questions;
  for (const xcb_window_t window : windows) {
    questions.push_back({.pid = connection_->ask(window, Atom::pid, 1),
                         .type = connection_->ask(window, Atom::windowType, 32),
                         .role = connection_->ask(window, Atom::role, 32)});
  }
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const xcb_window_t window = windows[i];
    const auto pid = connection_->answer(questions[i].pid).firstValue();
    const x11::Property type = connection_->answer(questions[i].type);
    const x11::Property role = connection_->answer(questions[i].role);
    Entry& entry = entries_[window];
    entry.isBrowsers =
        process_ && pid && static_cast<pid_t>(*pid) == *process_ && connection_->isBrowserWindow(type, role);
    if (!entry.isBrowsers) continue;
    entry.window.id = window;
    entry.window.isAppWindow = role.text() == "pop-up";
    hasChanged_ = true;
    // What follows is read afterwards, so that no change goes unseen.
    connection_->watch(window, XCB_EVENT_MASK_PROPERTY_CHANGE);
    staleStates_.insert(window);
  }
}

void BrowserWindowListX11::readStates() {
  struct Questions {
    xcb_window_t window;
    xcb_get_property_cookie_t state, startupID;
  };
  std::vector<Questions> questions;
  for (const xcb_window_t window : std::exchange(staleStates_, {})) {
    if (!contains(window)) continue;
    questions.push_back({.window = window,
                         .state = connection_->ask(window, Atom::state, mostStates),
                         .startupID = connection_->ask(window, Atom::startupID, longestStartupID)});
  }
  for (const Questions& question : questions) {
    const x11::Property states = connection_->answer(question.state);
    const x11::Property startupID = connection_->answer(question.startupID);
    BrowserWindow& window = entries_.at(question.window).window;
    const auto all = states.values().value_or(std::span<const std::uint32_t>());
    change(window.isMinimized, std::ranges::count(all, connection_->atom(Atom::hiddenState)) > 0);
    change(window.launchMark, std::string(startupID.text().value_or("")));
  }
}

std::vector<std::optional<WindowPairing::Look>> BrowserWindowListX11::looks(
    const std::vector<BrowserWindows::Window>& windows) {
  struct Questions {
    xcb_get_property_cookie_t name;
    xcb_get_geometry_cookie_t size;
    xcb_translate_coordinates_cookie_t place;
  };
  std::vector<std::optional<WindowPairing::Look>> result(windows.size());
  if (!connection_) return result;
  std::vector<Questions> questions;
  for (const BrowserWindows::Window each : windows) {
    const auto window = static_cast<xcb_window_t>(each);
    questions.push_back({.name = connection_->ask(window, Atom::name, longestTitle),
                         .size = ::xcb_get_geometry(connection_->get(), window),
                         .place = ::xcb_translate_coordinates(connection_->get(), window, connection_->root(), 0, 0)});
  }
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const x11::Property name = connection_->answer(questions[i].name);
    const x11::Reply<xcb_get_geometry_reply_t> size(
        ::xcb_get_geometry_reply(connection_->get(), questions[i].size, nullptr));
    const x11::Reply<xcb_translate_coordinates_reply_t> place(
        ::xcb_translate_coordinates_reply(connection_->get(), questions[i].place, nullptr));
    if (!size || !place) continue;
    result[i] = WindowPairing::Look{
        .text = std::string(name.text().value_or("")),
        .extents = {.x = place->dst_x, .y = place->dst_y, .width = size->width, .height = size->height}};
  }
  // The answers may have brought events with them.
  loop_.post(lifetime_.guard([this] { serve(); }));
  return result;
}

}  // namespace corvana
