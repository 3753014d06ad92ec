#include "core/stub/menu_builder.h"

namespace corvana {

std::vector<MenuItem> MenuBuilder::menu(const std::string& appName) {
  using enum MenuItem::Action;
  const MenuItem separator;
  return {{"About " + appName, about},
          separator,
          {"Open New Window", openNewWindow, 'n'},
          {"Bring to Front", bringToFront, '/'},
          separator,
          {"Hide " + appName, hide, 'h'},
          separator,
          {"Quit " + appName, terminate, 'q'}};
}

void MenuBuilder::install(Application& application, const std::string& appName) {
  application.setMainMenu(menu(appName));
}

}  // namespace corvana
