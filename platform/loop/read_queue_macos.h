#pragma once

#include <memory>
#include <string>

#include "platform/loop/read_queue.h"

namespace corvana {

/// A read queue on macOS: a serial dispatch queue with a source for each descriptor. Its end waits for the handler that
/// runs, so that no handler may bring it about; watches that outlive it do nothing any more.
class ReadQueueMacOS final : public ReadQueue {
 public:
  /// `label` names the queue in crash reports and to debuggers.
  explicit ReadQueueMacOS(const std::string& label);
  ReadQueueMacOS(const ReadQueueMacOS&) = delete;
  ReadQueueMacOS& operator=(const ReadQueueMacOS&) = delete;
  ~ReadQueueMacOS() override;

  [[nodiscard]] Watch watch(UniqueFD descriptor, Handler onReadable) override;

  /// The system's side of the queue, for the source that implements it.
  struct Queue;

 private:
  std::shared_ptr<Queue> queue_;
};

}  // namespace corvana
