#pragma once

#include "platform/application/alerts.h"

namespace corvana {

/// AppKit's alerts. Only the user ends one, so that this object must outlive the application's run. Tasks of the main
/// queue are served while an alert is open. Main thread.
class AlertsMacOS final : public Alerts {
 public:
  void runModal(const Alert& alert, std::function<void()> dismissed) override;
};

}  // namespace corvana
