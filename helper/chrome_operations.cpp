#include "helper/chrome_operations.h"

#include <utility>

namespace corvana {

void ChromeOperation::run(Answer answer) {
  answer_ = std::move(answer);
  limitTimer_ = context_.mainQueue.after(limit_, [this] { finish(responseAtLimit()); });
  start();
}

void ChromeOperation::finish(Response response) {
  if (!answer_) return;
  limitTimer_ = {};
  std::exchange(answer_, nullptr)(std::move(response));
}

void ChromeOperations::run(const std::string& profileDirectory, std::unique_ptr<ChromeOperation> operation,
                           ChromeOperation::Answer answer) {
  auto& queue = queues_[profileDirectory];
  queue.push_back({std::move(operation), std::move(answer)});
  if (queue.size() == 1) runFirst(profileDirectory);
}

void ChromeOperations::runFirst(const std::string& profileDirectory) {
  const Waiting& first = queues_.at(profileDirectory).front();
  first.operation->run([this, profileDirectory](Response response) {
    queues_.at(profileDirectory).front().answer(std::move(response));
    // Not now: the operation is still on its way out.
    mainQueue_.post(lifetime_.guard([this, profileDirectory] {
      const auto queue = queues_.find(profileDirectory);
      queue->second.pop_front();
      if (queue->second.empty()) {
        queues_.erase(queue);
      } else {
        runFirst(profileDirectory);
      }
    }));
  });
}

void ChromeOperations::bookChanged() {
  for (const auto& [profile, queue] : queues_) queue.front().operation->bookChanged();
}

Response failure(std::string error) {
  return {.ok = false, .error = std::move(error)};
}

}  // namespace corvana
