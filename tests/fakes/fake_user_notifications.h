#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/application/user_notifications.h"

namespace corvana::fakes {

/// A desktop's notifications in memory.
class FakeUserNotifications final : public UserNotifications {
 public:
  /// Titles and bodies.
  std::vector<std::pair<std::string, std::string>> posted;

  /// The user clicks one.
  void tap() { handler_(); }

  void setTapHandler(std::function<void()> handler) override { handler_ = std::move(handler); }
  void post(const std::string& title, const std::string& body) override { posted.emplace_back(title, body); }

 private:
  std::function<void()> handler_;
};

}  // namespace corvana::fakes
