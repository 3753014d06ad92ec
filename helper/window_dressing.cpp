#include "helper/window_dressing.h"

#include <utility>

namespace corvana {

void WindowDressing::update(const WindowBook& book) {
  std::map<WindowBook::Window, std::string> shown;
  for (const auto& [window, profile] : book.likelyProfiles()) {
    std::string app = profile.empty() ? std::string() : appOf_(profile).value_or("");
    const auto before = shown_.find(window);
    if (!app.empty()) {
      if (before == shown_.end() || before->second != app) identities_.set(window, app);
    } else if (before == shown_.end() || !before->second.empty()) {
      identities_.restore(window);  // a helper that was killed may have left it as it was
    }
    shown.emplace(window, std::move(app));
  }
  shown_ = std::move(shown);
}

void WindowDressing::restoreAll() {
  for (const auto& [window, app] : std::exchange(shown_, {})) {
    if (!app.empty()) identities_.restore(window);
  }
}

}  // namespace corvana
