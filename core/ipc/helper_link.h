#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "core/ipc/framing.h"
#include "core/ipc/messages.h"
#include "platform/lifetime.h"
#include "platform/read_queue.h"
#include "platform/scheduler.h"
#include "platform/workspace.h"

namespace corvana {

/// A proxy app's one connection to the background helper: connects, says hello, sends requests, delivers responses and
/// events, and connects again with back-off when the connection is lost. When nobody answers it starts the helper, once
/// for each series of failures.
///
/// Owned by the proxy app's delegate; everything but the reading of the socket happens on the main thread. Any callback
/// may destroy the link.
class HelperLink {
 public:
  enum class State { disconnected, connecting, connected };
  using Configure = std::function<void(Request&)>;
  using Completion = std::function<void(const Response&)>;

  static constexpr std::chrono::milliseconds initialBackoff{250};
  static constexpr std::chrono::seconds maximumBackoff{10};

  /// `random` gives numbers from 0 to 1, for the jitter of the back-off. The references outlive the link.
  HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace, std::function<double()> random);
  HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace);
  HelperLink(const HelperLink&) = delete;
  HelperLink& operator=(const HelperLink&) = delete;
  ~HelperLink();

  State state() const { return state_; }

  /// Called with every event, and with every new state.
  std::function<void(const Event&)> onEvent;
  std::function<void(State)> onStateChange;

  /// Tries to connect at once, and from then on whenever the connection is missing. Each connection begins with
  /// `hello`, in which the protocol version is set.
  void connect(Request hello);

  /// Sends a request. `completion` is called once: with the helper's response, or with one that is not ok and has the
  /// error "not connected" (before this call returns), "timed out" or "helper disconnected". After `shutdown` only the
  /// time-out can still call it. `configure`, which may be empty, fills in the request.
  void request(Request::Op op, std::chrono::nanoseconds timeout, const Configure& configure, Completion completion);

  /// Sends a request whose response is ignored, also while a new connection is not ready for requests.
  void post(Request::Op op, const Configure& configure);

  /// Says goodbye and closes the connection for good, until the next `connect`.
  void shutdown();

 private:
  struct Pending {
    Completion completion;
    Timer timeout;
  };
  struct Reader;

  void attemptConnect();
  void startReading(UniqueFD descriptor);
  void handle(const std::string& frame);
  void handleDisconnect();
  void scheduleRetry();
  void teardown();
  void launchHelper();
  /// False when the link is gone afterwards: its owner may have destroyed it when told.
  bool setState(State state);
  bool send(const Request& request);

  Scheduler& mainQueue_;
  ReadQueue& readQueue_;
  Workspace& workspace_;
  std::function<double()> random_;
  State state_ = State::disconnected;
  int descriptor_ = -1;  // the read queue's to close
  Watch readWatch_;
  FrameWriter writer_;
  std::shared_ptr<Reader> reader_;
  /// Tells reports of the present connection from late ones of an earlier, and attempts from those that were overtaken.
  std::uint64_t generation_ = 0;
  std::int64_t nextID_ = 1;
  std::map<std::int64_t, Pending> pending_;
  std::chrono::nanoseconds backoff_ = initialBackoff;
  bool launchAttempted_ = false;
  bool stopped_ = false;
  std::optional<Request> helloRequest_;
  Timer retryTimer_;
  Lifetime lifetime_;
};

}  // namespace corvana
