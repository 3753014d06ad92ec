#include "platform/windows/startup_notification_x11.h"

#include <algorithm>
#include <string_view>

#include "platform/windows/x11.h"

namespace corvana {
namespace {

/// As a value in a message: in quotes, with what ends them escaped.
std::string quoted(const std::string& value) {
  std::string result = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + "\"";
}

}  // namespace

void endStartupNotification(const std::string& startupID) {
  const auto connection = x11::Connection::open();
  if (!connection) return;
  // The parts of a message are known by the window that they name; this one is never shown.
  const xcb_window_t sender = ::xcb_generate_id(connection->get());
  ::xcb_create_window(connection->get(), 0, sender, connection->root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
  std::string message = "remove: ID=" + quoted(startupID);
  message += '\0';
  auto type = x11::Connection::Atom::startupInfoBegin;
  for (std::string_view rest = message; !rest.empty();) {
    xcb_client_message_event_t part{};
    part.response_type = XCB_CLIENT_MESSAGE;
    part.format = 8;
    part.window = sender;
    part.type = connection->atom(type);
    const std::string_view bytes = rest.substr(0, sizeof part.data.data8);
    std::ranges::copy(bytes, part.data.data8);
    ::xcb_send_event(connection->get(), 0, connection->root(), XCB_EVENT_MASK_PROPERTY_CHANGE,
                     reinterpret_cast<const char*>(&part));
    rest.remove_prefix(bytes.size());
    type = x11::Connection::Atom::startupInfo;
  }
  ::xcb_destroy_window(connection->get(), sender);
  (void)connection->activeWindow();  // an answer to this means that all before it has arrived
}

}  // namespace corvana
