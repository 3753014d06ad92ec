#pragma once

#include <optional>
#include <string>

namespace corvana {

/// One entry of an application's menu.
struct MenuItem {
  enum class Action { about, openNewWindow, bringToFront, hide, terminate };

  std::string title;
  /// Nothing for a separator.
  std::optional<Action> action;
  /// The key that, pressed with the system's command key, does the same; 0 for none.
  char keyEquivalent = 0;

  bool operator==(const MenuItem&) const = default;
};

}  // namespace corvana
