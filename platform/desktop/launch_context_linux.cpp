#include "platform/desktop/launch_context_linux.h"

#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <utility>

#include "platform/desktop/launch_mark.h"

namespace corvana {
namespace {

/// The time in a start-up ID, at its end: "..._TIME123".
std::optional<std::uint32_t> timeIn(std::string_view startupID) {
  constexpr std::string_view mark = "_TIME";
  const std::size_t place = startupID.rfind(mark);
  if (place == std::string_view::npos) return std::nullopt;
  const std::string_view digits = startupID.substr(place + mark.size());
  std::uint32_t time = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), time);
  const bool isTime = error == std::errc() && end == digits.data() + digits.size() && time != 0;
  return isTime ? std::optional(time) : std::nullopt;  // zero would mean that nobody asked for the window
}

std::uint32_t now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(std::chrono::floor<std::chrono::milliseconds>(time).count());
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

LaunchContext::LaunchContext(std::string application) : application_(std::move(application)) {
  userActed(variable("DESKTOP_STARTUP_ID"), variable("XDG_ACTIVATION_TOKEN"));
}

void LaunchContext::userActed(std::string startupID, std::string activationToken) {
  userTime_ = timeIn(startupID).value_or(now());
  startupID_ = std::move(startupID);
  activationToken_ = std::move(activationToken);
}

std::string LaunchContext::startupIDPrefix() const {
  return launchMark::prefix(application_);
}

std::vector<std::string> LaunchContext::environment() {
  std::vector<std::string> result{"DESKTOP_STARTUP_ID=" + startupIDPrefix() + std::to_string(::getpid()) + "-" +
                                  std::to_string(++launches_) + "_TIME" + std::to_string(userTime_)};
  if (!activationToken_.empty()) {
    result.push_back("XDG_ACTIVATION_TOKEN=" + std::exchange(activationToken_, std::string()));
  }
  return result;
}

}  // namespace corvana
