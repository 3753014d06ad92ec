#pragma once

#include <sys/types.h>

#include <charconv>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

/// What /proc tells about this user's processes (proc(5)).
namespace corvana::processes {

/// The number that makes up the whole text.
template <class Number>
std::optional<Number> numberFrom(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The program that the process runs, also when its file has been replaced since. Nothing when it has ended or cannot
/// be looked into, as other users' processes.
std::optional<std::filesystem::path> executable(pid_t process);

/// Visits this user's processes until `visit` returns false.
void forEach(const std::function<bool(pid_t)>& visit);

}  // namespace corvana::processes
