#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "platform/log/log_sink.h"

namespace corvana {

/// Writes the messages of one category. A message is made of its parts, texts and numbers, as they stand; it is a
/// lower-case sentence without a full stop. Any thread.
class Logger {
 public:
  explicit constexpr Logger(std::string_view category) : category_(category) {}

  void info(const auto&... parts) const { write(LogLevel::info, concatenate(parts...)); }
  /// The system log's default level.
  void notice(const auto&... parts) const { write(LogLevel::notice, concatenate(parts...)); }
  void error(const auto&... parts) const { write(LogLevel::error, concatenate(parts...)); }

 private:
  static std::string concatenate(const auto&... parts) {
    std::string message;
    (append(message, parts), ...);
    return message;
  }
  template <class Part>
  static void append(std::string& message, const Part& part) {
    if constexpr (std::same_as<Part, bool>) {
      message += part ? "true" : "false";
    } else if constexpr (std::integral<Part>) {
      message += std::to_string(part);
    } else {
      message += std::string_view(part);
    }
  }

  void write(LogLevel level, const std::string& message) const;

  std::string_view category_;
};

/// The product's loggers.
struct Log {
  Log() = delete;

  static constexpr Logger helper{"helper"};
  static constexpr Logger stub{"stub"};
  static constexpr Logger creator{"creator"};
  static constexpr Logger ax{"ax"};
  static constexpr Logger ipc{"ipc"};

  /// Where all loggers write from now on; nowhere when null, as at the start. A program's main sets it once; the sink
  /// must outlive all use. Returns the sink that was set before.
  static LogSink* setSink(LogSink* sink);
};

}  // namespace corvana
