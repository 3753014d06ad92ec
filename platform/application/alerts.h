#pragma once

#include <functional>
#include <string>

namespace corvana {

/// What an alert says; it has one button, to dismiss it with.
struct Alert {
  std::string messageText;
  std::string informativeText;
  std::string buttonTitle = "OK";

  bool operator==(const Alert&) const = default;
};

/// Dialogs that stop the user. Main thread.
class Alerts {
 public:
  virtual ~Alerts() = default;

  /// Shows the alert. `dismissed` is called once, on the main thread, when the user has dismissed it or it could not be
  /// shown, maybe before this call returns; never after this object is gone, which takes the alert away.
  virtual void runModal(const Alert& alert, std::function<void()> dismissed) = 0;
};

}  // namespace corvana
