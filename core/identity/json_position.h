#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/json_coding.h"

namespace corvana {

/// A place in a text, both from 1; columns are counted in bytes.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

// For people who mend a file by hand. Each reads the text once more. Any thread.

/// Where the value begins that an error is about, in the text that was decoded; for one that is missing, the object
/// that it is missing from.
TextPosition positionOf(const DecodingError& error, std::string_view text);

/// Where the value at the path (keys and indices, "[3]") begins; for one that is missing, the one that it is missing
/// from.
TextPosition positionOf(std::vector<std::string> path, std::string_view text);

}  // namespace corvana
