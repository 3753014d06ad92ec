#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop/menu_item.h"
#include "platform/desktop/opening_source.h"
#include "platform/desktop/workspace.h"

namespace corvana {

/// What an application is told by the system. Main thread.
class ApplicationDelegate {
 public:
  enum class TerminateReply { terminateNow, terminateLater };

  virtual ~ApplicationDelegate() = default;

  /// Once each, in this order; what the application is opened with comes in between.
  virtual void applicationWillFinishLaunching() = 0;
  virtual void applicationDidFinishLaunching() = 0;

  /// The application is to open these URLs; nothing has checked them yet.
  virtual void applicationOpen(const std::vector<std::string>& urls) = 0;

  /// The user has started or clicked the application once more.
  virtual void applicationShouldHandleReopen() = 0;

  /// The menu's own actions.
  virtual void openNewWindow() = 0;
  virtual void bringToFront() = 0;

  /// Whether the application may end. `terminateLater` promises a reply to come.
  virtual TerminateReply applicationShouldTerminate() = 0;

  /// The application ends when this returns.
  virtual void applicationWillTerminate() = 0;
};

/// This program, as the system's user sees it. Main thread.
class Application {
 public:
  virtual ~Application() = default;

  /// Offers the menu where the system has a place for it.
  virtual void setMainMenu(std::vector<MenuItem> menu) = 0;

  /// Ends the application if its delegate agrees. While a question is waiting for its reply, this is that reply.
  virtual void terminate() = 0;

  /// Answers `terminateLater`. Without a question that waits for it, a reply has no effect.
  virtual void replyToApplicationShouldTerminate(bool shouldTerminate) = 0;

  /// Who asked for what the delegate's `applicationOpen` is being told: nothing outside of that call, and nothing when
  /// the system does not know for certain. Looked up when it is asked for.
  virtual std::optional<OpeningSource> openingSource() = 0;

  /// Hands the user's attention over: brings that application to the front. `completion` is called once, on the main
  /// thread, with whether it is there; never after this object is gone, and maybe before this call returns.
  virtual void handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) = 0;
};

}  // namespace corvana
