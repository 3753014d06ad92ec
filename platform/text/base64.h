#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Base64 with padding (RFC 4648, section 4). Any thread.
namespace corvana::base64 {

std::string encode(std::string_view bytes);

/// Nothing for a text that `encode` would not have made.
std::optional<std::string> decode(std::string_view text);

}  // namespace corvana::base64
