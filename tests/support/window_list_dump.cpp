// Prints the windows that the display has, "OWNER HEIGHT LAYER" a line with "-" for what is unknown, and at the end
// "complete", "incomplete" or, when there is no list, "none".

#include <cstdio>
#include <string>

#include "platform/windows/window_list_x11.h"

int main() {
  corvana::WindowListX11 list;
  const auto windows = list.windows();
  if (!windows) return std::puts("none") < 0 ? 1 : 0;
  const auto text = [](const auto& value) { return value ? std::to_string(static_cast<int>(*value)) : "-"; };
  for (const auto& window : *windows) {
    std::printf("%s %s %s\n", text(window.owner).c_str(), text(window.height).c_str(), text(window.layer).c_str());
  }
  std::puts(list.canSeeOtherApplicationsWindows() ? "complete" : "incomplete");
}
