#pragma once

#include <functional>
#include <string>

namespace corvana {

/// The desktop's notifications. Main thread.
class UserNotifications {
 public:
  virtual ~UserNotifications() = default;

  /// `handler` is called whenever the user clicks a notification of this application.
  virtual void setTapHandler(std::function<void()> handler) = 0;

  /// Shows a notification at once, if the user allows it; otherwise nothing happens.
  virtual void post(const std::string& title, const std::string& body) = 0;
};

}  // namespace corvana
