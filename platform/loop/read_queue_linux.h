#pragma once

#include <memory>
#include <string>
#include <thread>

#include "platform/loop/read_queue.h"

namespace corvana {

/// A read queue on Linux: a thread that runs an event loop. Its end waits for the thread; watches that outlive it do
/// nothing any more.
class ReadQueueLinux final : public ReadQueue {
 public:
  /// `label` names the thread, of which the system shows 15 bytes. Throws std::system_error.
  explicit ReadQueueLinux(const std::string& label);
  ReadQueueLinux(const ReadQueueLinux&) = delete;
  ReadQueueLinux& operator=(const ReadQueueLinux&) = delete;
  ~ReadQueueLinux() override;

  [[nodiscard]] Watch watch(UniqueFD descriptor, Handler onReadable) override;

  /// The loop's side of the queue, for the source that implements it.
  class Worker;

 private:
  std::shared_ptr<Worker> worker_;
  std::thread thread_;
};

}  // namespace corvana
