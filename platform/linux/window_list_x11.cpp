#include "platform/linux/window_list_x11.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

namespace corvana {
namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

struct Disconnect {
  void operator()(xcb_connection_t* connection) const { ::xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

/// What a client list may hold, in units of four bytes; far more than any desktop has windows.
constexpr std::uint32_t mostWindows = 65'536;

struct Atoms {
  xcb_atom_t clientList;
  xcb_atom_t pid;
  xcb_atom_t windowType;
  xcb_atom_t normalType;
  xcb_atom_t role;
};

std::optional<Atoms> atomsOf(xcb_connection_t* connection) {
  constexpr std::array<std::string_view, 5> names{"_NET_CLIENT_LIST", "_NET_WM_PID", "_NET_WM_WINDOW_TYPE",
                                                  "_NET_WM_WINDOW_TYPE_NORMAL", "WM_WINDOW_ROLE"};
  std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
  for (std::size_t i = 0; i < names.size(); ++i) {
    cookies[i] = ::xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(names[i].size()), names[i].data());
  }
  std::array<xcb_atom_t, names.size()> atoms{};
  bool isComplete = true;
  for (std::size_t i = 0; i < names.size(); ++i) {  // every reply is fetched, that none is left behind
    const Reply<xcb_intern_atom_reply_t> reply(::xcb_intern_atom_reply(connection, cookies[i], nullptr));
    if (reply) atoms[i] = reply->atom;
    isComplete = isComplete && reply;
  }
  if (!isComplete) return std::nullopt;
  return Atoms{atoms[0], atoms[1], atoms[2], atoms[3], atoms[4]};
}

using PropertyReply = Reply<xcb_get_property_reply_t>;

xcb_get_property_cookie_t ask(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property,
                              std::uint32_t length) {
  return ::xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, length);
}

/// The property's values when it has such of 32 bits; else none.
std::span<const std::uint32_t> valuesOf(const PropertyReply& reply) {
  if (!reply || reply->format != 32) return {};
  return {static_cast<const std::uint32_t*>(::xcb_get_property_value(reply.get())), reply->value_len};
}

/// The questions about one window, all of which are sent before the first answer is waited for.
struct Questions {
  xcb_get_property_cookie_t pid;
  xcb_get_property_cookie_t type;
  xcb_get_property_cookie_t role;
  xcb_get_geometry_cookie_t geometry;
};

WindowDescription describe(xcb_connection_t* connection, const Questions& questions, const Atoms& atoms) {
  const PropertyReply pid(::xcb_get_property_reply(connection, questions.pid, nullptr));
  const PropertyReply type(::xcb_get_property_reply(connection, questions.type, nullptr));
  const PropertyReply role(::xcb_get_property_reply(connection, questions.role, nullptr));
  const Reply<xcb_get_geometry_reply_t> geometry(::xcb_get_geometry_reply(connection, questions.geometry, nullptr));

  WindowDescription window;
  if (const auto values = valuesOf(pid); !values.empty()) window.owner = static_cast<pid_t>(values.front());
  if (geometry) window.height = geometry->height;
  // A browser gives its own windows one of two roles; its task manager has none and its file chooser another.
  std::string_view roleName;
  if (role && role->format == 8) {
    roleName = {static_cast<const char*>(::xcb_get_property_value(role.get())), role->value_len};
  }
  const auto types = valuesOf(type);
  const bool isNormal = types.empty() || std::ranges::count(types, atoms.normalType) > 0;
  window.layer = isNormal && (roleName == "browser" || roleName == "pop-up") ? 0 : 1;
  return window;
}

}  // namespace

std::optional<std::vector<WindowDescription>> WindowListX11::windows() {
  int screenNumber = 0;
  const Connection connection(::xcb_connect(nullptr, &screenNumber));
  if (::xcb_connection_has_error(connection.get()) != 0) return std::nullopt;
  auto screens = ::xcb_setup_roots_iterator(::xcb_get_setup(connection.get()));
  for (; screenNumber > 0 && screens.rem > 0; --screenNumber) ::xcb_screen_next(&screens);
  const auto atoms = atomsOf(connection.get());
  if (screens.rem == 0 || !atoms) return std::nullopt;

  const PropertyReply list(::xcb_get_property_reply(
      connection.get(), ask(connection.get(), screens.data->root, atoms->clientList, mostWindows), nullptr));
  if (!list || list->format != 32) return std::nullopt;  // no window manager that keeps one
  std::vector<Questions> questions;
  for (const xcb_window_t window : valuesOf(list)) {
    questions.push_back({.pid = ask(connection.get(), window, atoms->pid, 1),
                         .type = ask(connection.get(), window, atoms->windowType, 32),
                         .role = ask(connection.get(), window, atoms->role, 32),
                         .geometry = ::xcb_get_geometry(connection.get(), window)});
  }
  std::vector<WindowDescription> result;
  for (const Questions& question : questions) result.push_back(describe(connection.get(), question, *atoms));
  if (::xcb_connection_has_error(connection.get()) != 0) return std::nullopt;
  return result;
}

bool WindowListX11::canSeeOtherApplicationsWindows() {
  const auto isSet = [](const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && value[0] != '\0';
  };
  return isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && windows().has_value();
}

}  // namespace corvana
