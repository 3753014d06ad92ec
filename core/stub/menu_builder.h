#pragma once

#include <string>
#include <vector>

#include "platform/application/application.h"

namespace corvana {

/// A proxy app's one menu. Main thread.
struct MenuBuilder {
  MenuBuilder() = delete;

  static std::vector<MenuItem> menu(const std::string& appName);

  /// Makes it the application's.
  static void install(Application& application, const std::string& appName);
};

}  // namespace corvana
