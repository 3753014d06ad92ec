#pragma once

#include <string_view>
#include <vector>

/// White space as people's input has it, in UTF-8. Pure functions, any thread.
namespace corvana {

/// Without the spaces and tabs at both ends: U+0009 and Unicode's space separators (general category Zs), not line
/// breaks.
std::string_view trimmed(std::string_view text);

/// The pieces between line breaks (U+000A to U+000D, U+0085, U+2028, U+2029), empty ones included.
std::vector<std::string_view> lines(std::string_view text);

}  // namespace corvana
