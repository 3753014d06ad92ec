#include "platform/desktop/menu_actions_linux.h"

#include <array>

namespace corvana {
namespace {

struct ActionName {
  MenuItem::Action action;
  std::string_view name;
};
/// There is no name for hiding: only the helper knows which windows are the application's.
constexpr std::array<ActionName, 4> actionNames{{{MenuItem::Action::about, "about"},
                                                 {MenuItem::Action::openNewWindow, "new-window"},
                                                 {MenuItem::Action::bringToFront, "bring-to-front"},
                                                 {MenuItem::Action::terminate, "quit"}}};

}  // namespace

std::optional<std::string> actionName(MenuItem::Action action) {
  for (const ActionName& row : actionNames) {
    if (row.action == action) return std::string(row.name);
  }
  return std::nullopt;
}

std::optional<MenuItem::Action> actionNamed(std::string_view name) {
  for (const ActionName& row : actionNames) {
    if (row.name == name) return row.action;
  }
  return std::nullopt;
}

}  // namespace corvana
