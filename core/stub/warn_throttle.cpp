#include "core/stub/warn_throttle.h"

#include <filesystem>
#include <fstream>
#include <string>

#include "core/identity/corvana.h"
#include "platform/files/files.h"

namespace corvana {
namespace {

std::filesystem::path markerOf(std::string_view key) {
  return Corvana::supportDirectory() / std::string("warned-").append(key);
}

}  // namespace

bool WarnThrottle::shouldWarn(std::string_view key, std::chrono::seconds interval, const Clock& clock) {
  const std::filesystem::path marker = markerOf(key);
  const auto now = clock.date();
  if (const auto last = files::modificationDate(marker)) {
    // In floating point, for a date may be anything.
    using Seconds = std::chrono::duration<double>;
    const Seconds date = Seconds(static_cast<double>(last->seconds)) + std::chrono::nanoseconds(last->nanoseconds);
    if (Seconds(now.time_since_epoch()) - date < interval) return false;
  }
  try {
    Corvana::ensureSupportDirectory();
    files::replace(marker, "");
    files::setModificationDate(marker, now);
  } catch (const std::exception&) {
    // Better one warning too many than none.
  }
  return true;
}

void WarnThrottle::reset(std::string_view key) {
  std::error_code ignored;
  std::filesystem::remove(markerOf(key), ignored);
}

}  // namespace corvana
