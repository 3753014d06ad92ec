#pragma once

#include <memory>

#include "platform/application/application.h"

namespace corvana {

/// This program as an application of AppKit, with an icon in the Dock and a menu bar of its own. AppKit has one
/// application per process, so that this class has one object. Main thread.
class ApplicationMacOS final : public Application {
 public:
  ApplicationMacOS();
  ApplicationMacOS(const ApplicationMacOS&) = delete;
  ApplicationMacOS& operator=(const ApplicationMacOS&) = delete;
  ~ApplicationMacOS() override;

  /// Launches the application and serves it. The system ends the process with the application, so that a caller must
  /// not leave anything to be done afterwards.
  int run(ApplicationDelegate& delegate);

  void setMainMenu(std::vector<MenuItem> menu) override;
  void terminate() override;
  void replyToApplicationShouldTerminate(bool shouldTerminate) override;

  std::optional<OpeningSource> openingSource() override;

  /// Completes with whether the system lets the other application come to the front, which takes it a moment longer.
  void handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) override;

  /// Whether the application may end, for the source that asks it.
  struct Question;

 private:
  std::unique_ptr<Question> question_;
};

}  // namespace corvana
