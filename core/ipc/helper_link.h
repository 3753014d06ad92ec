#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "core/ipc/framing.h"
#include "core/ipc/helper_connection.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/read_queue.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// The connection over the helper's socket: connects, says hello, and connects again with back-off when the connection
/// is lost. When nobody answers it starts the helper, once for each series of failures.
///
/// Owned by the proxy app; everything but the reading of the socket happens on the main thread.
class HelperLink final : public HelperConnection {
 public:
  static constexpr std::chrono::milliseconds initialBackoff{250};
  static constexpr std::chrono::seconds maximumBackoff{10};

  /// `random` gives numbers from 0 to 1, for the jitter of the back-off. The references outlive the link.
  HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace, std::function<double()> random);
  HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace);
  HelperLink(const HelperLink&) = delete;
  HelperLink& operator=(const HelperLink&) = delete;
  ~HelperLink() override;

  State state() const override { return state_; }
  void connect(Request hello) override;
  void request(Request::Op op, std::chrono::nanoseconds timeout, const Configure& configure,
               Completion completion) override;
  void post(Request::Op op, const Configure& configure) override;
  void shutdown() override;

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
