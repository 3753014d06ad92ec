#pragma once

#include <filesystem>

namespace corvana {

/// Copies an application bundle with all that belongs to it; nothing may be at `destination`. Throws
/// std::filesystem::filesystem_error or ToolError.
void copyBundle(const std::filesystem::path& source, const std::filesystem::path& destination);

/// Takes away the marks that the system puts on files from elsewhere, so that the bundle's program may be run. Throws
/// ToolError.
void clearQuarantine(const std::filesystem::path& bundle);

}  // namespace corvana
