#include "core/identity/log.h"

#include <atomic>

#include "core/identity/corvana.h"

namespace corvana {
namespace {

std::atomic<LogSink*> currentSink = nullptr;

}  // namespace

void Logger::write(LogLevel level, const std::string& message) const {
  if (LogSink* sink = currentSink.load(std::memory_order_acquire)) {
    sink->write({.subsystem = Corvana::logSubsystem, .category = category_, .level = level, .message = message});
  }
}

LogSink* Log::setSink(LogSink* sink) {
  return currentSink.exchange(sink, std::memory_order_acq_rel);
}

}  // namespace corvana
