#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/alerts.h"
#include "platform/linux/child_process.h"
#include "platform/linux/event_loop.h"
#include "platform/user_notifications.h"

namespace corvana {

/// Alerts by the desktop's own dialog program, which runs as a child: the application needs no toolkit of its own, and
/// goes on being served. Where there is no such program the alert is a notification, and counts as dismissed.
/// Main thread.
class AlertsLinux final : public Alerts {
 public:
  /// `title` is that of the dialogs' windows. What is passed must outlive this object.
  AlertsLinux(EventLoop& loop, UserNotifications& notifications, std::string title)
      : loop_(loop), notifications_(notifications), title_(std::move(title)) {}
  ~AlertsLinux() override;

  void runModal(const Alert& alert, std::function<void()> dismissed) override;

  /// The command that shows it; empty where there is no program for it. KDE's program comes first on KDE's desktop.
  static std::vector<std::string> command(const Alert& alert, const std::string& title);

 private:
  EventLoop& loop_;
  UserNotifications& notifications_;
  std::string title_;
  std::map<std::uint64_t, ChildProcess> dialogs_;
  std::uint64_t nextDialog_ = 0;
};

}  // namespace corvana
