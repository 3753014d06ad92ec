#include "core/ipc/helper_link.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <utility>

#include "core/identity/corvana.h"
#include "core/identity/helper_installer.h"
#include "core/identity/log.h"
#include "core/ipc/unix_socket.h"

namespace corvana {
namespace {

Response failure(std::int64_t id, const char* error) {
  return {.id = id, .ok = false, .error = error};
}

/// Uniform from 0 to 1, both included.
double systemRandom() {
  constexpr std::uint64_t resolution = std::uint64_t{1} << 53;
  thread_local std::mt19937_64 generator{std::random_device()()};
  return static_cast<double>(std::uniform_int_distribution<std::uint64_t>(0, resolution)(generator)) /
         static_cast<double>(resolution);
}

}  // namespace

/// What the read queue touches.
struct HelperLink::Reader {
  /// One for all connections, so that what a lost one left behind stays in it.
  LineBuffer buffer{LineBuffer::standardLimit};
};

HelperLink::HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace, std::function<double()> random)
    : mainQueue_(mainQueue),
      readQueue_(readQueue),
      workspace_(workspace),
      random_(std::move(random)),
      reader_(std::make_shared<Reader>()) {}

HelperLink::HelperLink(Scheduler& mainQueue, ReadQueue& readQueue, Workspace& workspace)
    : HelperLink(mainQueue, readQueue, workspace, systemRandom) {}

HelperLink::~HelperLink() = default;

void HelperLink::connect(Request hello) {
  helloRequest_ = std::move(hello);
  stopped_ = false;
  attemptConnect();
}

void HelperLink::attemptConnect() {
  if (stopped_ || state_ == State::connected) return;
  const std::uint64_t attempt = ++generation_;
  if (!setState(State::connecting) || attempt != generation_) return;
  try {
    startReading(UnixSocket::connectToSameUser(Corvana::socketPath()));
  } catch (const SocketError&) {
    if (!std::exchange(launchAttempted_, true)) launchHelper();
    return scheduleRetry();
  }

  if (helloRequest_) {
    Request hello = *helloRequest_;
    hello.protocolVersion = IPC::protocolVersion;
    (void)send(hello);  // a connection that is gone already is reported by its end
  }
  backoff_ = initialBackoff;
  launchAttempted_ = false;
  (void)setState(State::connected);  // this link may be gone afterwards
  Log::ipc.notice("stub connected to helper");
}

void HelperLink::startReading(UniqueFD descriptor) {
  descriptor_ = descriptor.get();
  writer_ = FrameWriter();
  const auto handleFrames = lifetime_.guard([this, generation = generation_](const std::vector<std::string>& frames) {
    const std::weak_ptr<const void> self = lifetime_.reference();
    for (const std::string& frame : frames) {
      if (self.expired() || generation != generation_) return;
      handle(frame);
    }
  });
  const auto handleEnd = lifetime_.guard([this, generation = generation_] {
    if (generation == generation_) handleDisconnect();
  });
  readWatch_ = readQueue_.watch(
      std::move(descriptor),
      [reader = reader_, &mainQueue = mainQueue_, handleFrames, handleEnd](int fd) -> std::chrono::milliseconds {
        auto frames = readFrames(fd, reader->buffer);
        if (!frames) {
          mainQueue.post(handleEnd);
          return ReadQueue::never;
        }
        if (!frames->empty()) {
          mainQueue.post([handleFrames, frames = std::move(*frames)] { handleFrames(frames); });
        }
        return {};
      });
}

void HelperLink::handle(const std::string& frame) {
  const std::optional<InboundMessage> message = InboundMessage::decode(frame);
  if (!message) return Log::ipc.error("undecodable frame from helper");
  if (const auto* event = std::get_if<Event>(&message->content)) {
    // A copy, because the callback may replace or destroy the one that runs.
    if (const auto callback = onEvent) callback(*event);
    return;
  }
  const auto& response = std::get<Response>(message->content);
  auto pending = pending_.extract(response.id);
  if (!pending.empty()) pending.mapped().completion(response);
}

void HelperLink::request(Request::Op op, std::chrono::nanoseconds timeout, const Configure& configure,
                         Completion completion) {
  const std::int64_t id = nextID_++;
  Request request{.id = id, .op = op};
  if (configure) configure(request);
  if (state_ != State::connected || !send(request)) return completion(failure(id, "not connected"));
  Timer timer = mainQueue_.after(timeout, [this, id] {
    auto pending = pending_.extract(id);
    if (!pending.empty()) pending.mapped().completion(failure(id, "timed out"));
  });
  pending_.insert_or_assign(id, Pending{std::move(completion), std::move(timer)});
}

void HelperLink::post(Request::Op op, const Configure& configure) {
  Request request{.id = nextID_++, .op = op};
  if (configure) configure(request);
  (void)send(request);  // its fate does not matter to the caller
}

bool HelperLink::send(const Request& request) {
  if (descriptor_ < 0) return false;
  const std::optional<std::string> message = encodeMessage(request);
  return message && writer_.write(descriptor_, frameFor(*message));
}

void HelperLink::handleDisconnect() {
  if (state_ == State::disconnected) return;
  Log::ipc.info("helper connection dropped");
  const std::weak_ptr<const void> self = lifetime_.reference();
  const std::uint64_t lost = generation_;
  auto pending = std::exchange(pending_, {});
  teardown();
  for (auto& [id, entry] : pending) entry.completion(failure(id, "helper disconnected"));
  // A callback may have destroyed the link, or connected it anew.
  if (!self.expired() && generation_ == lost + 1) scheduleRetry();
}

void HelperLink::scheduleRetry() {
  if (stopped_) return;
  const std::uint64_t attempt = generation_;
  if (!setState(State::disconnected) || stopped_ || attempt != generation_) return;
  const auto delay = std::chrono::nanoseconds(
      backoff_.count() + static_cast<std::int64_t>(static_cast<double>(backoff_.count()) * 0.25 * random_()));
  backoff_ = std::min<std::chrono::nanoseconds>(backoff_ * 2, maximumBackoff);
  retryTimer_ = mainQueue_.after(delay, [this] { attemptConnect(); });
}

void HelperLink::teardown() {
  ++generation_;
  readWatch_ = {};
  descriptor_ = -1;
  (void)setState(State::disconnected);
}

void HelperLink::launchHelper() {
  try {
    (void)HelperInstaller::installFromCreatorBundle(workspace_, false);
  } catch (const HelperInstaller::InstallError&) {
    // Logged already, and a helper that was installed before may do.
  } catch (const std::exception& error) {
    Log::ipc.error("helper could not be installed: ", error.what());
  }
  const OpenConfiguration configuration{
      .createsNewApplicationInstance = false, .activates = false, .addsToRecentItems = false};
  workspace_.openApplication(Corvana::installedHelperURL(), configuration, [](const std::optional<OpenError>& error) {
    if (error) Log::ipc.error("helper launch failed: ", error->description);
  });
}

void HelperLink::shutdown() {
  stopped_ = true;
  (void)send({.id = 0, .op = Request::Op::bye});  // nobody waits for an answer
  teardown();
}

bool HelperLink::setState(State state) {
  if (state_ == state) return true;
  state_ = state;
  const std::weak_ptr<const void> self = lifetime_.reference();
  if (const auto callback = onStateChange) callback(state);
  return !self.expired();
}

}  // namespace corvana
