#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "platform/application/user_notifications.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/loop/session_bus_linux.h"

namespace corvana {

/// Notifications of a freedesktop.org desktop ("Desktop Notifications Specification" 1.2,
/// org.freedesktop.Notifications). Clicks are told only to the connection that has posted. Without a session bus or a
/// notification service nothing is shown. Main thread.
class UserNotificationsDBus final : public UserNotifications {
 public:
  /// `bundleIdentifier` and `name` are the application's; what is passed must outlive this object.
  UserNotificationsDBus(SessionBus& bus, LaunchContext& context, const std::string& bundleIdentifier, std::string name);
  UserNotificationsDBus(const UserNotificationsDBus&) = delete;
  UserNotificationsDBus& operator=(const UserNotificationsDBus&) = delete;
  /// Withdraws what is shown: nobody would hear a click any more.
  ~UserNotificationsDBus();

  /// Told the title and body of what could not be shown.
  std::function<void(const std::string& title, const std::string& body)> onFailure;

  void setTapHandler(std::function<void()> handler) override { onTap_ = std::move(handler); }
  void post(const std::string& title, const std::string& body) override;

 private:
  struct Callbacks;

  void watchClicks();
  void fail(const std::string& title, const std::string& body) const;
  void send(std::uint64_t number, const std::string& title, const std::string& body, bool hasMarkup);

  SessionBus& bus_;
  LaunchContext& context_;
  std::string applicationID_;
  std::string name_;
  std::function<void()> onTap_;
  std::string clickToken_;  // comes just before the click
  BusSlot clicks_;
  BusSlot tokens_;
  BusSlot closings_;
  /// What was asked of the service and is not answered yet.
  std::map<std::uint64_t, BusSlot> calls_;
  std::uint64_t nextCall_ = 0;
  /// The service's numbers of the notifications that may still be clicked.
  std::set<std::uint32_t> shown_;
};

}  // namespace corvana
