#pragma once

#include <cstdlib>

namespace corvana::support {

/// CORVANA_STRESS in the environment multiplies the rounds of tests that look for what happens rarely.
inline int rounds(int standard) {
  const char* factor = std::getenv("CORVANA_STRESS");
  return factor == nullptr ? standard : standard * std::atoi(factor);
}

}  // namespace corvana::support
