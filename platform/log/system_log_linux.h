#pragma once

#include <string>

#include "platform/log/log_sink.h"

namespace corvana {

/// The system's log: journald where it runs, else syslog, and standard error where neither does. Started from a
/// terminal, the program also writes there. Nothing is redacted.
///
/// In the journal a message carries SYSLOG_IDENTIFIER (the subsystem), CORVANA_CATEGORY, CORVANA_LEVEL and PRIORITY, so
/// that `journalctl -t app.corvana CORVANA_CATEGORY=ipc` finds it.
class SystemLog final : public LogSink {
 public:
  SystemLog();

  void write(const LogRecord& record) noexcept override;

 private:
  bool usesJournal_;
  bool usesSyslog_;
  bool usesStandardError_;
};

/// The record as one line of text without a line feed. Control characters show as \xNN: a message may hold what a link
/// or a file brought along, and must neither forge a line nor command the terminal.
std::string logLine(const LogRecord& record);

}  // namespace corvana
