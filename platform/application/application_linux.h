#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/application/application.h"
#include "platform/desktop/calling_application_linux.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/desktop/menu_item.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/session_bus_linux.h"
#include "platform/windows/window_activator_x11.h"
#include "platform/windows/window_shortcuts_x11.h"

namespace corvana {

/// What an application is started for.
struct Opening {
  std::vector<std::string> urls;
  /// One of the menu's actions.
  std::optional<MenuItem::Action> action;
  /// For a program of ours that calls in an application's name: its bundle identifier.
  std::string source;
  /// The session bus has started the program, and is about to tell it what for.
  bool isToldByBus = false;
};

/// This program as an application of a freedesktop.org desktop: it has no toolkit and no window, but a name on the
/// session bus, which makes it the only one of its kind, and an object there that takes what launchers ask for
/// ("Desktop Entry Specification" 1.5, D-Bus Activation). Without a session bus it does without all that. Main thread.
class ApplicationLinux final : public Application {
 public:
  /// What is passed must outlive this object. `showAbout` tells the user what this application is, and calls back when
  /// that is over. The signals that ask a program to end are from now on the user's wish to quit; no thread may have
  /// been started before.
  ApplicationLinux(EventLoop& loop, SessionBus& bus, LaunchContext& context, std::string bundleIdentifier,
                   std::function<void(std::function<void()>)> showAbout);
  ApplicationLinux(const ApplicationLinux&) = delete;
  ApplicationLinux& operator=(const ApplicationLinux&) = delete;
  ~ApplicationLinux() override;

  /// Whether an instance was running already; then it has been told what this one was started for, and this one has
  /// nothing left to do. Throws std::runtime_error when that instance does not answer.
  bool handOver(const Opening& opening);

  /// Hands over to the application with that bundle identifier, which the bus starts if it has to. False when it does
  /// not run and the bus cannot start it. Throws std::runtime_error when it does not answer.
  static bool handOverTo(const SessionBus& bus, const LaunchContext& context, std::string_view bundleIdentifier,
                         const Opening& opening);

  /// Launches the application and serves it until it ends; returns the program's exit code.
  int run(ApplicationDelegate& delegate, const Opening& opening);

  /// The user or the session wants the application to end.
  void quit();

  /// Launchers have the entries from the desktop entry; what is left to do is to take the shortcuts.
  void setMainMenu(std::vector<MenuItem> menu) override;
  void terminate() override;
  void replyToApplicationShouldTerminate(bool shouldTerminate) override;
  std::optional<OpeningSource> openingSource() override;
  void handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) override;

 private:
  struct Object;

  /// What is being done just now.
  struct Asked {
    sd_bus_message* call;  // null for what this program was started for itself
    std::string claimedSource;
  };
  enum class Start { none, byBus };

  bool exportObject();
  bool becomeOnlyInstance();
  /// False when there is no other instance, or it has just ended.
  static bool forward(const SessionBus& bus, const LaunchContext& context, const std::string& id,
                      const Opening& opening, Start start);
  void open(const Opening& opening);
  void perform(MenuItem::Action action);
  /// With what it is launched for.
  void launch(const std::function<void()>& open);

  EventLoop& loop_;
  SessionBus& bus_;
  LaunchContext& context_;
  std::string bundleIdentifier_;
  std::string id_;
  std::function<void(std::function<void()>)> showAbout_;
  WindowActivatorX11 activator_;
  WindowShortcutsX11 shortcuts_;
  Watch onTerminate_;
  Watch onInterrupt_;
  std::optional<Watch> onHangUp_;
  BusSlot object_;
  BusSlot disconnection_;
  ApplicationDelegate* delegate_ = nullptr;
  std::optional<Asked> asked_;
  /// Made when somebody wants to know.
  std::optional<CallingApplications> callers_;
  bool didLaunch_ = false;
  bool isQuestionPending_ = false;
  bool hasEnded_ = false;
  Timer idleTimer_;
};

}  // namespace corvana
