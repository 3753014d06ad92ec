#pragma once

#include "platform/windows/window_list.h"

namespace corvana::fakes {

/// A display's windows in memory.
class FakeWindowList final : public WindowList {
 public:
  std::optional<std::vector<WindowDescription>> windows() override { return list; }
  bool canSeeOtherApplicationsWindows() override { return isComplete; }

  // For tests to set up.
  std::optional<std::vector<WindowDescription>> list = std::vector<WindowDescription>();
  bool isComplete = true;
};

}  // namespace corvana::fakes
