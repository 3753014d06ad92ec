#pragma once

#include <memory>

#include "platform/log/log_sink.h"

namespace corvana {

/// The unified log, under the record's subsystem and category. Nothing is redacted.
class SystemLog final : public LogSink {
 public:
  SystemLog();
  ~SystemLog() override;

  void write(const LogRecord& record) noexcept override;

 private:
  struct Channels;
  std::unique_ptr<Channels> channels_;
};

}  // namespace corvana
