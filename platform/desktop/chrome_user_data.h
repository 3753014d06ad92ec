#pragma once

#include <filesystem>

namespace corvana {

/// The user data directory of the Chrome that proxy apps open, of its stable channel only; where it would be when it is
/// not installed. On Linux that of Chromium where that stands in. Part of the adapters; any thread.
std::filesystem::path chromeUserDataDirectory();

}  // namespace corvana
