#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/desktop/browser_installation_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/process/unique_fd.h"

namespace corvana {

/// Whether a browser runs, and as which process, without looking again and again: its start is seen by the lock that
/// appears in its user data directory (inotify(7)), its end by the process's descriptor. While it runs nothing but its
/// end wakes this. Main thread.
class BrowserProcess {
 public:
  /// `changed` is called when the main process is another one than before, not by the constructor; it must not destroy
  /// this object.
  BrowserProcess(EventLoop& loop, std::string bundleIdentifier, Task changed);
  BrowserProcess(const BrowserProcess&) = delete;
  BrowserProcess& operator=(const BrowserProcess&) = delete;

  /// The main process; nothing while the browser does not run.
  std::optional<pid_t> id() const { return id_; }

  /// The browser that was looked for last; nothing when it is not installed.
  const std::optional<BrowserInstallation>& installation() const { return installation_; }

 private:
  void look();
  bool watchEnd(pid_t process);
  void watchStart();
  void onFiles();

  EventLoop& loop_;
  std::string bundleIdentifier_;
  Task changed_;
  std::optional<BrowserInstallation> installation_;
  std::optional<pid_t> id_;
  UniqueFD process_;
  UniqueFD files_;
  /// What has to appear in the folder that is watched: the lock or, where there is no user data directory yet, the
  /// first folder on the way to it.
  std::string awaited_;
  Watch end_;
  Watch appearance_;
};

}  // namespace corvana
