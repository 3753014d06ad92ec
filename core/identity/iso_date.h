#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Dates as documents have them: ISO 8601 in the profile of RFC 3339, of the years 0 to 9999, to the second. Any
/// thread.
namespace corvana {

/// Nothing for any other text. The time may have an offset ("2026-01-02T04:04:05+01:00") and a fraction, which is
/// dropped.
std::optional<std::chrono::sys_seconds> parseISODate(std::string_view text);

/// "2026-01-02T03:04:05Z".
std::string isoDate(std::chrono::sys_seconds date);

}  // namespace corvana
