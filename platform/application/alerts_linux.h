#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/application/alerts.h"
#include "platform/application/user_notifications.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/loop/child_process_linux.h"
#include "platform/loop/event_loop_linux.h"

namespace corvana {

/// Alerts by the desktop's own dialog program, which runs as a child: the application needs no toolkit of its own, and
/// goes on being served. Where there is no such program, or it fails, the alert is a notification, and counts as
/// dismissed. Main thread.
class AlertsLinux final : public Alerts {
 public:
  /// A dialog program that fails this soon has not shown its dialog.
  static constexpr std::chrono::milliseconds startUpTime{500};

  /// `title` is that of the dialogs' windows. What is passed must outlive this object.
  AlertsLinux(EventLoop& loop, LaunchContext& context, UserNotifications& notifications, std::string title)
      : loop_(loop), context_(context), notifications_(notifications), title_(std::move(title)) {}
  ~AlertsLinux() override;

  void runModal(const Alert& alert, std::function<void()> dismissed) override;

  /// The command that shows it; empty where there is no program for it. KDE's program comes first on KDE's desktop.
  static std::vector<std::string> command(const Alert& alert, const std::string& title);

 private:
  EventLoop& loop_;
  LaunchContext& context_;
  UserNotifications& notifications_;
  std::string title_;
  std::map<std::uint64_t, ChildProcess> dialogs_;
  std::uint64_t nextDialog_ = 0;
};

}  // namespace corvana
