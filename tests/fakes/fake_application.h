#pragma once

#include <utility>
#include <vector>

#include "platform/application/application.h"

namespace corvana::fakes {

/// An application that the system of a test looks after.
class FakeApplication final : public Application {
 public:
  /// Set before anything is asked of it.
  ApplicationDelegate* delegate = nullptr;
  /// Whether other applications come to the front when this one lets them.
  bool canHandActivationOver = true;

  /// Who asks for what is opened.
  std::optional<OpeningSource> source;

  std::vector<MenuItem> menu;
  std::vector<RunningApplication> activated;
  /// All replies, those without a question, too.
  std::vector<bool> replies;
  bool isQuestionPending = false;
  bool hasEnded = false;

  /// The user quits the application.
  void quit() {
    if (!isQuestionPending) terminate();
  }

  void setMainMenu(std::vector<MenuItem> items) override { menu = std::move(items); }
  void terminate() override {
    if (isQuestionPending) return answer(true);
    isQuestionPending = true;
    if (delegate->applicationShouldTerminate() == ApplicationDelegate::TerminateReply::terminateNow) answer(true);
  }
  void replyToApplicationShouldTerminate(bool shouldTerminate) override {
    replies.push_back(shouldTerminate);
    answer(shouldTerminate);
  }
  std::optional<OpeningSource> openingSource() override { return source; }
  void handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) override {
    activated.push_back(other);
    completion(canHandActivationOver);
  }

 private:
  void answer(bool shouldTerminate) {
    if (!std::exchange(isQuestionPending, false) || !shouldTerminate || std::exchange(hasEnded, true)) return;
    delegate->applicationWillTerminate();
  }
};

}  // namespace corvana::fakes
