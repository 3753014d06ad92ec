#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/desktop/menu_item.h"

namespace corvana {

/// The name of an action in desktop entries, on the bus and on the command line; nothing for one that this system has
/// no use for. Any thread.
std::optional<std::string> actionName(MenuItem::Action action);
std::optional<MenuItem::Action> actionNamed(std::string_view name);

}  // namespace corvana
