#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvana {

/// A universally unique identifier. All zeros at first. Any thread.
class UUID {
 public:
  UUID() = default;

  static UUID random();

  /// From its 36 characters, 8-4-4-4-12 hexadecimal digits of either case (RFC 4122, section 3); nothing for any other
  /// text.
  static std::optional<UUID> parse(std::string_view text);

  /// With upper-case letters.
  const std::string& string() const { return text_; }

  bool operator==(const UUID&) const = default;

 private:
  explicit UUID(std::string text) : text_(std::move(text)) {}

  std::string text_ = "00000000-0000-0000-0000-000000000000";
};

}  // namespace corvana

template <>
struct std::hash<corvana::UUID> {
  std::size_t operator()(const corvana::UUID& uuid) const noexcept { return std::hash<std::string>()(uuid.string()); }
};
