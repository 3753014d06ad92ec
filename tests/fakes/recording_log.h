#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/identity/log.h"

namespace corvana::fakes {

/// Takes all log messages for as long as it lives; each as "category level: message".
class RecordingLog final : public LogSink {
 public:
  RecordingLog() : previous_(Log::setSink(this)) {}
  RecordingLog(const RecordingLog&) = delete;
  RecordingLog& operator=(const RecordingLog&) = delete;
  ~RecordingLog() override { Log::setSink(previous_); }

  void write(const LogRecord& record) noexcept override {
    constexpr const char* levels[] = {"info", "default", "error"};
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::string(record.category) + " " + levels[static_cast<int>(record.level)] + ": " +
                     std::string(record.message));
  }

  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  LogSink* previous_;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace corvana::fakes
