#include "platform/windows/window_list_x11.h"

#include "platform/process/processes_linux.h"
#include "platform/windows/x11.h"

namespace corvana {

std::optional<std::vector<WindowDescription>> WindowListX11::windows() {
  isComplete_ = false;
  const auto connection = x11::Connection::open();
  if (!connection) return std::nullopt;
  const auto clients = connection->clients(x11::Connection::Atom::clientList);
  if (!clients) return std::nullopt;
  isComplete_ = true;
  std::vector<WindowDescription> result;
  for (const x11::Client& client : *clients) {
    // A sandboxed browser's windows have process numbers of its sandbox, so that nobody can tell whose they are.
    if (client.isBrowserWindow && (!client.owner || !processes::executable(*client.owner))) isComplete_ = false;
    WindowDescription window{.owner = client.owner, .layer = client.isBrowserWindow ? 0 : 1};
    if (client.height) window.height = *client.height;
    result.push_back(window);
  }
  return result;
}

bool WindowListX11::canSeeOtherApplicationsWindows() {
  if (x11::isWaylandSession()) return false;
  if (isComplete_) return *isComplete_;
  const auto connection = x11::Connection::open();
  return connection && connection->windowManager() != XCB_WINDOW_NONE;
}

}  // namespace corvana
