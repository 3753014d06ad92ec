#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/application/user_notifications.h"
#include "platform/loop/lifetime.h"

namespace corvana {

/// The notification center. The user is asked once, before the first notification, whether the application may show
/// some. To a program outside of a bundle the system gives no center, and nothing is shown. Main thread.
class UserNotificationsMacOS final : public UserNotifications {
 public:
  UserNotificationsMacOS();
  UserNotificationsMacOS(const UserNotificationsMacOS&) = delete;
  UserNotificationsMacOS& operator=(const UserNotificationsMacOS&) = delete;
  ~UserNotificationsMacOS() override;

  /// A click that has started the application is told only to a handler that is set before it has finished launching.
  void setTapHandler(std::function<void()> handler) override;
  void post(const std::string& title, const std::string& body) override;

 private:
  struct CenterDelegate;

  std::function<void()> onTap_;
  std::unique_ptr<CenterDelegate> delegate_;
  Lifetime lifetime_;
};

}  // namespace corvana
