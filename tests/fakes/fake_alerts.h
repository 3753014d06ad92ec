#pragma once

#include <utility>
#include <vector>

#include "platform/application/alerts.h"

namespace corvana::fakes {

/// Alerts that stay until a test dismisses them.
class FakeAlerts final : public Alerts {
 public:
  std::vector<Alert> shown;

  /// The user presses the button of the oldest one.
  void dismiss() {
    const auto dismissed = std::move(open_.front());
    open_.erase(open_.begin());
    dismissed();
  }
  std::size_t openCount() const { return open_.size(); }

  void runModal(const Alert& alert, std::function<void()> dismissed) override {
    shown.push_back(alert);
    open_.push_back(std::move(dismissed));
  }

 private:
  std::vector<std::function<void()>> open_;
};

}  // namespace corvana::fakes
