#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/launch_locks_linux.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/scheduler.h"
#include "platform/process/unique_fd.h"

namespace corvana {

/// Launches of Chrome and its relatives in order. Many that start at once become several browsers on the same user
/// data, and so do many that hand their arguments to a running browser at once. So for each user data directory, and
/// over all programs of the product (`LaunchLocks`), the first start is alone until the browser accepts arguments, and
/// after that few hand theirs over at a time. What waits meanwhile for the same profile joins one launch.
///
/// Launches of one profile keep their order; profiles take turns. Nothing waits for ever: after `patience` a launch
/// goes on whoever is in its way, and what waits when this object goes is launched then. Main thread.
class LaunchQueue {
 public:
  /// How the launched programs are started and looked at.
  class Programs {
   public:
    virtual ~Programs() = default;
    virtual BrowserState stateOf(const BrowserInstallation& browser) = 0;
    /// Starts the browser's program with these arguments; its number, 0 when it does not start. `completion` is called
    /// once, never inside the call.
    virtual pid_t start(const BrowserInstallation& browser, const std::vector<std::string>& arguments,
                        Workspace::OpenCompletion completion) = 0;
    virtual bool hasEnded(pid_t process) = 0;
    /// Lets time pass, with nothing else done meanwhile.
    virtual void pause(std::chrono::milliseconds duration) = 0;
    /// Something for the log.
    virtual void notice(const std::string& text) = 0;
  };

  /// How long a launch waits for other programs, for a browser that does not accept, and for one that does not take the
  /// arguments. Far more than each needs (a start 63 ms, handing over 120 ms, on a busy machine seconds).
  static constexpr std::chrono::seconds patience{10};
  /// What waits at the end of the program is waited for this long altogether.
  static constexpr std::chrono::seconds lastPatience{2};

  /// The bytes of one launch's arguments, their ends counted. Chrome hands them on in one message and reads 32 KiB of
  /// it (`kMaxMessageLength` in its process_singleton_posix.cc). After a longer one it takes the running browser to
  /// hang, ends it and takes its place (seen with Chromium 156). The rest is for what the desktop entry and the
  /// browser's start-up script add.
  static constexpr std::size_t maximumBytes = 28 * 1024;

  /// Of one argument of any program, its end counted: the kernel's limit (MAX_ARG_STRLEN, execve(2)).
  static constexpr std::size_t maximumArgumentBytes = 128 * 1024;

  /// Takes out those beyond that limit; which, if there are any.
  static std::optional<OpenError> takeOutTooLong(std::vector<std::string>& arguments);

  LaunchQueue(Scheduler& mainQueue, Clock& clock, Programs& programs)
      : mainQueue_(mainQueue), clock_(clock), programs_(programs) {}
  LaunchQueue(const LaunchQueue&) = delete;
  LaunchQueue& operator=(const LaunchQueue&) = delete;

  /// Launches as soon as it may be, which can be at once. What begins with "--" in front of the arguments makes the
  /// profile; the rest are links, without which a window of its own is asked for. A single link beyond `maximumBytes`
  /// can only be what the browser starts with: while it runs that link is left out, `completion` says so, and the
  /// others open all the same.
  void launch(const BrowserInstallation& browser, const OpenConfiguration& configuration,
              Workspace::OpenCompletion completion);

  /// A started program has ended.
  void programEnded() { step(); }

  /// Launches all that waits, waiting `lastPatience` at most, and blocks meanwhile: for the end of the program.
  void finish();

 private:
  /// The one report of what may have been split. Main thread.
  struct Report {
    Workspace::OpenCompletion completion;
    std::size_t parts = 0;  // that have not been told of
    std::optional<OpenError> error;

    void partEnded(const std::optional<OpenError>& ending);
  };
  /// One start to come.
  struct Batch {
    bool createsNewInstance = true;
    std::vector<std::string> links;
    std::vector<std::shared_ptr<Report>> reports;
    std::size_t bytes = 0;  // of all arguments
  };
  /// What waits with the same options, and is launched one after the other.
  struct Profile {
    std::vector<std::string> options;
    std::deque<Batch> waiting;
    bool isUnderWay = false;
  };
  /// A launched program that has not done its part yet.
  struct UnderWay {
    Profile* profile;
    pid_t process;
    bool isStart;  // else it hands its arguments over
    std::chrono::steady_clock::time_point end;
    UniqueFD lock;
  };
  /// What is launched for one user data directory. Profiles in order of their turns.
  struct Lane {
    BrowserInstallation browser;
    LaunchLocks locks;
    std::list<Profile> profiles;
    std::list<UnderWay> underWay;
    std::chrono::steady_clock::time_point waitsSince;
  };

  Lane& laneOf(const BrowserInstallation& browser);
  static Profile& profileOf(Lane& lane, std::vector<std::string> options);
  static Batch& batchFor(Profile& profile, std::size_t bytes, bool createsNewInstance);
  void step();
  void step(Lane& lane, bool isLast);
  bool isDone(const Lane& lane, const UnderWay& launched);
  /// Whether something has left the queue.
  bool launchNext(Lane& lane, bool isLast);
  std::optional<UniqueFD> permission(const Lane& lane, BrowserState state);
  void launch(Lane& lane, Profile& profile, bool isStart, UniqueFD lock);
  static bool isWaiting(const Lane& lane);
  void report(const Batch& batch, const std::optional<OpenError>& error);

  Scheduler& mainQueue_;
  Clock& clock_;
  Programs& programs_;
  std::list<Lane> lanes_;
  Timer retry_;
  std::chrono::milliseconds retryDelay_{};
};

}  // namespace corvana
