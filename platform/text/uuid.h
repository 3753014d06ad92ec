#pragma once

#include <string>

namespace corvana {

/// A fresh random UUID (RFC 4122, version 4) in its canonical form with upper-case letters. Any thread.
std::string randomUUID();

}  // namespace corvana
