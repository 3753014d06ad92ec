#pragma once

#include <string_view>

namespace corvana {

/// The levels of the system log that the product uses, least important first. `notice` is the log's default level.
enum class LogLevel { info, notice, error };

/// One message on its way to the system log; the views live for the call only.
struct LogRecord {
  std::string_view subsystem;
  std::string_view category;
  LogLevel level;
  std::string_view message;
};

/// Where log messages go. Any thread; must not throw and must not log.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogRecord& record) noexcept = 0;
};

}  // namespace corvana
