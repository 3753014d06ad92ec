#include "platform/windows/window_activator_x11.h"

#include <system_error>
#include <utility>

#include "platform/windows/x11.h"

namespace corvana {
namespace {

using Atom = x11::Connection::Atom;

/// The topmost of the process's browser windows.
xcb_window_t topmostWindow(const x11::Connection& connection, pid_t process) {
  xcb_window_t result = XCB_WINDOW_NONE;
  const auto clients = connection.clients(Atom::clientListStacking);
  if (!clients) return result;
  for (const x11::Client& client : *clients) {  // from bottom to top
    if (client.owner == process && client.isBrowserWindow) result = client.window;
  }
  return result;
}

}  // namespace

struct WindowActivatorX11::Attempt {
  x11::Connection connection;
  pid_t process;
  std::function<void(bool)> completion;
  Watch events;
  Timer timeout;
};

WindowActivatorX11::WindowActivatorX11(EventLoop& loop) : loop_(loop) {}
WindowActivatorX11::~WindowActivatorX11() = default;

void WindowActivatorX11::activate(pid_t process, std::uint32_t userTime, std::function<void(bool)> completion) {
  if (attempt_) finish(false);
  auto connection = x11::Connection::open();
  if (!connection) return completion(false);
  // First of all, so that no change goes unseen.
  connection->watch(connection->root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
  if (connection->ownerOf(connection->activeWindow()) == process) return completion(true);
  const xcb_window_t window = topmostWindow(*connection, process);
  if (window == XCB_WINDOW_NONE) return completion(false);

  attempt_ = std::make_unique<Attempt>(Attempt{std::move(*connection), process, std::move(completion), {}, {}});
  try {
    attempt_->events = loop_.whenReadable(::xcb_get_file_descriptor(attempt_->connection.get()), [this] { check(); });
  } catch (const std::system_error&) {
    return finish(false);  // out of descriptors
  }
  attempt_->timeout = loop_.after(limit, [this] { finish(false); });
  attempt_->connection.requestActivation(window, userTime);
  check();
}

void WindowActivatorX11::check() {
  const x11::Connection& connection = attempt_->connection;
  do {
    if (connection.ownerOf(connection.activeWindow()) == attempt_->process) return finish(true);
    if (connection.isLost()) return finish(false);
  } while (connection.nextEvent());
}

void WindowActivatorX11::finish(bool succeeded) {
  const auto completion = std::move(attempt_->completion);
  attempt_.reset();
  completion(succeeded);
}

}  // namespace corvana
