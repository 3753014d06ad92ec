#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "core/ipc/helper_connection.h"
#include "platform/loop/scheduler.h"

namespace corvana::fakes {

/// A connection whose other end is the test.
class FakeHelperConnection final : public HelperConnection {
 public:
  explicit FakeHelperConnection(Scheduler& scheduler) : scheduler_(scheduler) {}

  /// Whether a helper answers when `connect` is called.
  bool hasHelper = false;

  /// What was sent, oldest first: the hello, requests and posts.
  std::vector<Request> sent;
  bool isShutDown = false;
  /// Called with what is posted, before the caller goes on.
  std::function<void(const Request&)> onPost;

  /// The requests that wait for their responses, oldest first.
  std::size_t waitingCount() const { return waiting_.size(); }

  /// The helper answers the oldest one. It is the test's failure when none waits.
  void answer(const Response& response) {
    if (waiting_.empty()) {
      ADD_FAILURE() << "no request waits for an answer";
      return;
    }
    auto oldest = waiting_.extract(waiting_.begin());
    oldest.mapped().completion(response);
  }
  void answer(Response::Action action) { answer(Response{.ok = true, .action = action}); }

  /// The helper comes up, or is lost.
  void establish() {
    sent.push_back(hello_);
    setState(State::connected);
  }
  void drop() {
    setState(State::disconnected);
    for (auto& [id, entry] : std::exchange(waiting_, {})) entry.completion({.id = id, .error = "helper disconnected"});
  }

  State state() const override { return state_; }
  void connect(Request hello) override {
    hello_ = std::move(hello);
    setState(State::connecting);
    if (hasHelper) establish();
  }
  void request(Request::Op op, std::chrono::nanoseconds timeout, const Configure& configure,
               Completion completion) override {
    Request request = configured(op, configure);
    if (state_ != State::connected) return completion({.id = request.id, .error = "not connected"});
    Timer timer = scheduler_.after(timeout, [this, id = request.id] {
      auto late = waiting_.extract(id);
      late.mapped().completion({.id = id, .error = "timed out"});
    });
    waiting_.insert_or_assign(request.id, Waiting{std::move(completion), std::move(timer)});
    sent.push_back(std::move(request));
  }
  void post(Request::Op op, const Configure& configure) override {
    Request request = configured(op, configure);
    if (state_ != State::connected) return;
    if (onPost) onPost(request);
    sent.push_back(std::move(request));
  }
  void shutdown() override {
    isShutDown = true;
    setState(State::disconnected);
  }

 private:
  struct Waiting {
    Completion completion;
    Timer timeout;
  };

  Request configured(Request::Op op, const Configure& configure) {
    Request request{.id = nextID_++, .op = op};
    if (configure) configure(request);
    return request;
  }
  void setState(State state) {
    if (std::exchange(state_, state) != state && onStateChange) onStateChange(state);
  }

  Scheduler& scheduler_;
  State state_ = State::disconnected;
  Request hello_;
  std::int64_t nextID_ = 1;
  std::map<std::int64_t, Waiting> waiting_;
};

}  // namespace corvana::fakes
