#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "core/ipc/messages.h"
#include "helper/chrome_watch.h"
#include "platform/loop/lifetime.h"
#include "platform/loop/scheduler.h"
#include "platform/windows/browser_windows.h"

namespace corvana {

/// What an operation works with.
struct OperationContext {
  Scheduler& mainQueue;
  const Clock& clock;
  BrowserWindows& windows;
  ChromeWatch& watch;
};

/// Something that is done to Chrome's windows, in several steps that each wait for Chrome. It answers once, at its
/// limit at the latest, with a response that lacks but the request's number. Main thread.
class ChromeOperation {
 public:
  using Answer = std::function<void(Response)>;

  ChromeOperation(const OperationContext& context, std::chrono::nanoseconds limit) : context_(context), limit_(limit) {}
  ChromeOperation(const ChromeOperation&) = delete;
  ChromeOperation& operator=(const ChromeOperation&) = delete;
  virtual ~ChromeOperation() = default;

  /// `answer` may destroy this.
  void run(Answer answer);
  /// The book has changed.
  virtual void bookChanged() {}

 protected:
  virtual void start() = 0;
  /// What there is to say when Chrome has not answered in time.
  virtual Response responseAtLimit() = 0;
  /// Nothing of this may be used after it.
  void finish(Response response);

  const WindowBook& book() const { return context_.watch.book(); }

  const OperationContext context_;

 private:
  std::chrono::nanoseconds limit_;
  Answer answer_;
  Timer limitTimer_;

 protected:
  Lifetime lifetime_;
};

/// Lets one operation at a time at each profile: they would pull the windows from under each other.
class ChromeOperations {
 public:
  explicit ChromeOperations(Scheduler& mainQueue) : mainQueue_(mainQueue) {}
  ChromeOperations(const ChromeOperations&) = delete;
  ChromeOperations& operator=(const ChromeOperations&) = delete;

  /// Runs the operation after those of the same profile that were there before.
  void run(const std::string& profileDirectory, std::unique_ptr<ChromeOperation> operation,
           ChromeOperation::Answer answer);
  void bookChanged();

 private:
  struct Waiting {
    std::unique_ptr<ChromeOperation> operation;
    ChromeOperation::Answer answer;
  };
  void runFirst(const std::string& profileDirectory);

  Scheduler& mainQueue_;
  std::map<std::string, std::deque<Waiting>> queues_;
  Lifetime lifetime_;
};

/// A failure in words for the log of who asked.
Response failure(std::string error);

/// Brings the app's windows forward: those that are not minimised in the order in which they lie, else the last one.
std::unique_ptr<ChromeOperation> raisingWindows(const OperationContext& context, const WindowAudience& audience);

/// Brings the app's tab group forward, or opens it.
std::unique_ptr<ChromeOperation> activatingTabGroup(const OperationContext& context, const WindowAudience& audience,
                                                    bool ownWindow);

/// Closes just the app's windows, or its tab group; at most for `limit`.
std::unique_ptr<ChromeOperation> closingWindows(const OperationContext& context, const WindowAudience& audience,
                                                std::chrono::nanoseconds limit);

}  // namespace corvana
