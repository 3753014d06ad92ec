#pragma once

#include <cstddef>
#include <string_view>

#include "core/identity/json_coding.h"

namespace corvana {

/// A place in a text, both from 1; columns are counted in bytes.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

/// Where the value begins that an error is about, in the text that was decoded; for one that is missing, the object
/// that it is missing from. For people who mend a file by hand: it reads the text once more. Any thread.
TextPosition positionOf(const DecodingError& error, std::string_view text);

}  // namespace corvana
