#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>

/// Bookmarks: bytes by which a file or folder is found again after it was renamed or moved. Any thread.
namespace corvana::bookmark {

/// Nothing when there is no such file.
std::optional<std::string> of(const std::filesystem::path& file);

/// Where the file is now; nothing when it cannot be found, or the bytes are no bookmark. On Linux a file is known by
/// its inode and the time of its birth, so that it is found on the same file system only: where it was, beside that
/// place, in `folders`, and in the folders in these that are not hidden.
std::optional<std::filesystem::path> resolve(const std::string& bookmark,
                                             std::span<const std::filesystem::path> folders);

}  // namespace corvana::bookmark
