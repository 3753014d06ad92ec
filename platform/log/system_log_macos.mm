#include "platform/log/system_log_macos.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>

#import <os/log.h>

namespace corvana {
namespace {

os_log_type_t typeOf(LogLevel level) {
  switch (level) {
    case LogLevel::info:
      return OS_LOG_TYPE_INFO;
    case LogLevel::notice:
      return OS_LOG_TYPE_DEFAULT;
    case LogLevel::error:
      return OS_LOG_TYPE_ERROR;
  }
  return OS_LOG_TYPE_ERROR;
}

}  // namespace

/// The log objects made so far. The system never frees one, so each is made only once.
struct SystemLog::Channels {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, os_log_t> channels;  // guarded by mutex

  os_log_t _Nonnull channel(const LogRecord& record) {
    std::pair key(std::string(record.subsystem), std::string(record.category));
    const std::lock_guard lock(mutex);
    if (const auto found = channels.find(key); found != channels.end()) return found->second;
    os_log_t made = os_log_create(key.first.c_str(), key.second.c_str());
    channels.emplace(std::move(key), made);
    return made;
  }
};

SystemLog::SystemLog() : channels_(std::make_unique<Channels>()) {}

SystemLog::~SystemLog() = default;

void SystemLog::write(const LogRecord& record) noexcept {
  const std::string message(record.message);
  os_log_with_type(channels_->channel(record), typeOf(record.level), "%{public}s", message.c_str());
}

}  // namespace corvana
