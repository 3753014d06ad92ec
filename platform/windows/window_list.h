#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace corvana {

/// A window of some application, as far as the system says.
struct WindowDescription {
  std::optional<pid_t> owner;
  /// In the display's units.
  std::optional<double> height;
  /// 0 for normal windows; menus, dialogs and the like lie on others.
  std::optional<int> layer;

  bool operator==(const WindowDescription&) const = default;
};

/// The windows of all applications. Main thread; a call asks the display server and waits for its answer.
class WindowList {
 public:
  virtual ~WindowList() = default;

  /// Nothing when the system gives no list.
  virtual std::optional<std::vector<WindowDescription>> windows() = 0;

  /// Whether the list is one of all windows; else it may lack those of other applications.
  virtual bool canSeeOtherApplicationsWindows() = 0;
};

}  // namespace corvana
