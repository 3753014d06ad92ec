// The journal is told no source line of ours: that of this file would say nothing.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include "platform/log/system_log_linux.h"

#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "platform/text/ascii.h"
#include "platform/text/terminal_text.h"

namespace corvana {
namespace {

struct Level {
  const char* name;
  int priority;
};

Level levelOf(LogLevel level) {
  switch (level) {
    case LogLevel::info:
      return {"info", LOG_INFO};
    case LogLevel::notice:
      return {"default", LOG_NOTICE};
    case LogLevel::error:
      return {"error", LOG_ERR};
  }
  return {"error", LOG_ERR};
}

void writeToJournal(const LogRecord& record) {
  const Level level = levelOf(record.level);
  const std::array<std::string, 5> fields = {
      "MESSAGE=" + std::string(record.message), "PRIORITY=" + std::to_string(level.priority),
      "SYSLOG_IDENTIFIER=" + std::string(record.subsystem), "CORVANA_CATEGORY=" + std::string(record.category),
      std::string("CORVANA_LEVEL=") + level.name};
  std::array<iovec, fields.size()> parts{};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    parts[i] = {const_cast<char*>(fields[i].data()), fields[i].size()};
  }
  (void)::sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));  // nobody to tell
}

/// The reader of a pipe may be gone, and that must not end the program: the signal is held back and taken away.
void writeToStandardError(const std::string& line) {
  sigset_t brokenPipe;
  sigset_t previous;
  ::sigemptyset(&brokenPipe);
  ::sigaddset(&brokenPipe, SIGPIPE);
  (void)::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
  if (::write(STDERR_FILENO, line.data(), line.size()) < 0 && errno == EPIPE &&
      ::sigismember(&previous, SIGPIPE) == 0) {
    const timespec atOnce{};
    (void)::sigtimedwait(&brokenPipe, nullptr, &atOnce);
  }
  (void)::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

bool exists(const char* path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

}  // namespace

SystemLog::SystemLog()
    : usesJournal_(exists("/run/systemd/journal/socket")),
      usesSyslog_(!usesJournal_ && exists("/dev/log")),
      usesStandardError_((!usesJournal_ && !usesSyslog_) || ::isatty(STDERR_FILENO) == 1) {}

void SystemLog::write(const LogRecord& record) noexcept {
  if (usesJournal_) writeToJournal(record);
  if (usesSyslog_) {
    ::syslog(LOG_USER | levelOf(record.level).priority, "%s", logLine(record).c_str());
  }
  if (usesStandardError_) {
    writeToStandardError(logLine(record) + "\n");
  }
}

std::string logLine(const LogRecord& record) {
  std::string line;
  line.append(record.subsystem).append(" [").append(record.category).append("] ");
  line.append(levelOf(record.level).name).append(": ");
  return line + terminal::replacingHarmful(record.message, [](std::string_view bytes, char32_t) {
           std::string escaped;
           for (const char byte : bytes) {
             escaped += "\\x";
             ascii::appendHexadecimal(escaped, static_cast<unsigned char>(byte), ascii::lowerCaseDigits);
           }
           return escaped;
         });
}

}  // namespace corvana
