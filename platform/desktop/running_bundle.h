#pragma once

#include <filesystem>

namespace corvana {

/// The bundle that the running program lies in ("X.app" for X.app/Contents/MacOS/Program); the folder of its
/// executable when that is in no bundle. Any thread; throws std::filesystem::filesystem_error when the system does not
/// tell.
std::filesystem::path runningBundlePath();

}  // namespace corvana
