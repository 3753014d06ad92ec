#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What programs launched by the product's applications are marked with, so that the windows that they open tell who
/// opened them: "corvana:", the bundle identifier of the application, and what makes the mark unique. Any thread.
namespace corvana::launchMark {

/// What the marks of all launches by the application begin with.
inline std::string prefix(std::string_view application) {
  return std::string("corvana:").append(application).append(":");
}

/// The application that a mark names; nothing for others' marks. Anybody may have written it.
inline std::optional<std::string_view> application(std::string_view mark) {
  constexpr std::string_view ours = "corvana:";
  if (!mark.starts_with(ours)) return std::nullopt;
  mark.remove_prefix(ours.size());
  const std::size_t end = mark.find(':');
  return end == std::string_view::npos ? std::nullopt : std::optional(mark.substr(0, end));
}

}  // namespace corvana::launchMark
