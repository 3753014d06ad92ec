#include "platform/windows/window_raiser_x11.h"

#include <utility>

namespace corvana {

WindowRaiserX11::WindowRaiserX11(EventLoop& loop, BrowserWindowListX11& list, const LaunchContext& context)
    : loop_(loop), list_(list), context_(context) {}

void WindowRaiserX11::raise(const std::vector<BrowserWindows::Window>& windows,
                            BrowserWindows::Completion<bool> completion) {
  finish(false);
  completion_ = std::move(completion);
  if (windows.empty() || !list_.contains(windows.back())) return finish(false);
  target_ = windows.back();
  const auto activate = [this](std::uint32_t userTime) {
    if (const x11::Connection* connection = list_.connection()) {
      connection->requestActivation(static_cast<xcb_window_t>(*target_), userTime);
    }
  };
  restack(windows);
  activate(context_.userTime());
  retry_ = loop_.after(retryDelay, [activate] { activate(XCB_CURRENT_TIME); });
  timeout_ = loop_.after(limit, [this] { finish(false); });
  check();
}

/// From the lowest up: window managers raise a window above all others, not above or below one of them. Some know the
/// message for that, and some heed only what any program may ask for.
void WindowRaiserX11::restack(const std::vector<BrowserWindows::Window>& windows) const {
  const x11::Connection* connection = list_.connection();
  if (connection == nullptr) return;
  constexpr std::uint32_t above = XCB_STACK_MODE_ABOVE;
  for (const BrowserWindows::Window each : windows) {
    const auto window = static_cast<xcb_window_t>(each);
    connection->tellWindowManager(window, x11::Connection::Atom::restackWindow,
                                  {x11::onBehalfOfTheUser, XCB_WINDOW_NONE, above, 0, 0});
    ::xcb_configure_window(connection->get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
  }
}

void WindowRaiserX11::check() {
  if (!target_) return;
  if (list_.activeWindow() == *target_) return finish(true);
  if (!list_.contains(*target_)) finish(false);
}

void WindowRaiserX11::finish(bool succeeded) {
  target_.reset();
  retry_ = {};
  timeout_ = {};
  if (!completion_) return;
  loop_.post(lifetime_.guard([completion = std::exchange(completion_, {}), succeeded] { completion(succeeded); }));
}

}  // namespace corvana
