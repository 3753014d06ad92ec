#pragma once

#include <optional>

#include "platform/windows/window_identities.h"
#include "platform/windows/x11.h"

namespace corvana {

/// Identities by the properties that docks look at: the window's class (ICCCM 2.0, section 4.1.2.5), which desktop
/// entries name as StartupWMClass, and the names by which KDE and GNOME find the entry. The class that Chrome has given
/// the window is kept in a property of the window, so that whoever comes later knows it. Does nothing without an X
/// server.
class WindowIdentitiesX11 final : public WindowIdentities {
 public:
  void set(BrowserWindows::Window window, std::string_view bundleIdentifier) override;
  void restore(BrowserWindows::Window window) override;

 private:
  const x11::Connection* connection();

  std::optional<x11::Connection> connection_;
};

}  // namespace corvana
