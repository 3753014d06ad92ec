#include "platform/windows/x11.h"

#include <algorithm>

namespace corvana::x11 {
namespace {

/// What a client list may hold, in units of four bytes; far more than any desktop has windows.
constexpr std::uint32_t mostWindows = 65'536;

/// The questions about one window, all of which are sent before the first answer is waited for.
struct Questions {
  xcb_window_t window;
  xcb_get_property_cookie_t pid;
  xcb_get_property_cookie_t type;
  xcb_get_property_cookie_t role;
  xcb_get_geometry_cookie_t geometry;
};

bool hasBrowserRole(const Property& role) {
  return role.text() == "browser" || role.text() == "pop-up";
}

Client describe(const Connection& connection, const Questions& questions) {
  const Property pid = connection.answer(questions.pid);
  const Property type = connection.answer(questions.type);
  const Property role = connection.answer(questions.role);
  const Reply<xcb_get_geometry_reply_t> geometry(
      ::xcb_get_geometry_reply(connection.get(), questions.geometry, nullptr));

  Client client{.window = questions.window};
  if (const auto value = pid.firstValue()) client.owner = static_cast<pid_t>(*value);
  if (geometry) client.height = geometry->height;
  client.isBrowserWindow = connection.isBrowserWindow(type, role);
  return client;
}

}  // namespace

bool isWaylandSession() {
  const char* display = std::getenv("WAYLAND_DISPLAY");
  return display != nullptr && display[0] != '\0';
}

std::optional<std::span<const std::uint32_t>> Property::values() const {
  if (!reply_ || reply_->format != 32) return std::nullopt;
  return std::span{static_cast<const std::uint32_t*>(::xcb_get_property_value(reply_.get())), reply_->value_len};
}

std::optional<std::string_view> Property::text() const {
  if (!reply_ || reply_->format != 8) return std::nullopt;
  return std::string_view{static_cast<const char*>(::xcb_get_property_value(reply_.get())), reply_->value_len};
}

std::optional<std::uint32_t> Property::firstValue() const {
  const auto all = values();
  return all && !all->empty() ? std::optional(all->front()) : std::nullopt;
}

std::optional<Connection> Connection::open() {
  int screenNumber = 0;
  Connection result;
  result.connection_.reset(::xcb_connect(nullptr, &screenNumber));
  if (result.isLost()) return std::nullopt;
  auto screens = ::xcb_setup_roots_iterator(::xcb_get_setup(result.get()));
  for (; screenNumber > 0 && screens.rem > 0; --screenNumber) ::xcb_screen_next(&screens);
  if (screens.rem == 0 || !result.findAtoms()) return std::nullopt;
  result.root_ = screens.data->root;
  return result;
}

bool Connection::findAtoms() {
  constexpr std::array<std::string_view, atomCount> names{"_NET_CLIENT_LIST",
                                                          "_NET_CLIENT_LIST_STACKING",
                                                          "_NET_ACTIVE_WINDOW",
                                                          "_NET_CLOSE_WINDOW",
                                                          "_NET_RESTACK_WINDOW",
                                                          "_NET_SUPPORTING_WM_CHECK",
                                                          "_NET_WM_NAME",
                                                          "_NET_WM_STATE",
                                                          "_NET_WM_STATE_HIDDEN",
                                                          "_NET_WM_PID",
                                                          "_NET_WM_WINDOW_TYPE",
                                                          "_NET_WM_WINDOW_TYPE_NORMAL",
                                                          "WM_WINDOW_ROLE",
                                                          "_NET_STARTUP_ID",
                                                          "_NET_STARTUP_INFO_BEGIN",
                                                          "_NET_STARTUP_INFO",
                                                          "WM_CLASS",
                                                          "_CORVANA_ORIGINAL_CLASS",
                                                          "_KDE_NET_WM_DESKTOP_FILE",
                                                          "_GTK_APPLICATION_ID",
                                                          "UTF8_STRING"};
  std::array<xcb_intern_atom_cookie_t, atomCount> cookies{};
  for (std::size_t i = 0; i < atomCount; ++i) {
    cookies[i] = ::xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(names[i].size()), names[i].data());
  }
  bool isComplete = true;
  for (std::size_t i = 0; i < atomCount; ++i) {  // every reply is fetched, that none is left behind
    const Reply<xcb_intern_atom_reply_t> reply(::xcb_intern_atom_reply(get(), cookies[i], nullptr));
    if (reply) atoms_[i] = reply->atom;
    isComplete = isComplete && reply;
  }
  return isComplete;
}

bool Connection::isLost() const {
  return ::xcb_connection_has_error(get()) != 0;
}

void Connection::watch(xcb_window_t window, std::uint32_t events) const {
  ::xcb_change_window_attributes(get(), window, XCB_CW_EVENT_MASK, &events);
}

bool Connection::isBrowserWindow(xcb_window_t window) const {
  return hasBrowserRole(property(window, Atom::role, 32));
}

bool Connection::isBrowserWindow(const Property& type, const Property& role) const {
  const auto types = type.values().value_or(std::span<const std::uint32_t>());
  const bool isNormal = types.empty() || std::ranges::count(types, atom(Atom::normalType)) > 0;
  return isNormal && hasBrowserRole(role);
}

Reply<xcb_generic_event_t> Connection::nextEvent() const {
  ::xcb_flush(get());
  return Reply<xcb_generic_event_t>(::xcb_poll_for_event(get()));
}

Property Connection::property(xcb_window_t window, Atom property, std::uint32_t length) const {
  return answer(ask(window, property, length));
}

xcb_get_property_cookie_t Connection::ask(xcb_window_t window, Atom property, std::uint32_t length) const {
  return ::xcb_get_property(get(), 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, length);
}

Property Connection::answer(xcb_get_property_cookie_t question) const {
  return Property(Reply<xcb_get_property_reply_t>(::xcb_get_property_reply(get(), question, nullptr)));
}

void Connection::tellWindowManager(xcb_window_t window, Atom type, const std::array<std::uint32_t, 5>& data) const {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom(type);
  std::ranges::copy(data, message.data.data32);
  ::xcb_send_event(get(), 0, root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
  ::xcb_flush(get());
}

void Connection::requestActivation(xcb_window_t window, std::uint32_t userTime) const {
  tellWindowManager(window, Atom::activeWindow, {onBehalfOfTheUser, userTime});
}

xcb_window_t Connection::windowManager() const {
  const auto window = property(root_, Atom::windowManager, 1).firstValue();
  return window && property(*window, Atom::windowManager, 1).firstValue() == window ? *window
                                                                                    : xcb_window_t{XCB_WINDOW_NONE};
}

std::optional<std::vector<xcb_window_t>> Connection::clientWindows(Atom list) const {
  const Property property = this->property(root_, list, mostWindows);
  const auto windows = property.values();
  if (!windows) return std::nullopt;
  return std::vector<xcb_window_t>(windows->begin(), windows->end());
}

std::optional<std::vector<Client>> Connection::clients(Atom list) const {
  if (windowManager() == XCB_WINDOW_NONE) return std::nullopt;
  const auto windows = clientWindows(list);
  if (!windows) return std::nullopt;
  std::vector<Questions> questions;
  for (const xcb_window_t window : *windows) {
    questions.push_back({.window = window,
                         .pid = ask(window, Atom::pid, 1),
                         .type = ask(window, Atom::windowType, 32),
                         .role = ask(window, Atom::role, 32),
                         .geometry = ::xcb_get_geometry(get(), window)});
  }
  std::vector<Client> result;
  for (const Questions& question : questions) result.push_back(describe(*this, question));
  if (isLost()) return std::nullopt;
  return result;
}

xcb_window_t Connection::activeWindow() const {
  // Some window managers add a second value, which means nothing.
  return property(root_, Atom::activeWindow, 2).firstValue().value_or(XCB_WINDOW_NONE);
}

std::optional<pid_t> Connection::ownerOf(xcb_window_t window) const {
  const auto value = property(window, Atom::pid, 1).firstValue();
  return value ? std::optional(static_cast<pid_t>(*value)) : std::nullopt;
}

}  // namespace corvana::x11
