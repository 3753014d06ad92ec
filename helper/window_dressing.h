#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "helper/window_book.h"
#include "platform/windows/window_identities.h"

namespace corvana {

/// Has each of Chrome's windows shown as one of its profile's proxy app, for as long as there is one. Main thread.
class WindowDressing {
 public:
  /// The bundle identifier of the app for all windows of a profile; nothing where there is none.
  using AppOf = std::function<std::optional<std::string>(const std::string& profileDirectory)>;

  WindowDressing(WindowIdentities& identities, AppOf appOf) : identities_(identities), appOf_(std::move(appOf)) {}

  /// The book, or who has an app, has changed.
  void update(const WindowBook& book);
  /// Gives all windows back.
  void restoreAll();

 private:
  WindowIdentities& identities_;
  AppOf appOf_;
  /// As which app each window is shown; empty for none.
  std::map<WindowBook::Window, std::string> shown_;
};

}  // namespace corvana
