#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

/// File access that is the same on every system. Any thread; failures are std::filesystem::filesystem_error.
namespace corvana::files {

/// The whole content of a regular file of at most `maximumBytes`. Never blocks on a FIFO or device.
std::string read(const std::filesystem::path& file, std::size_t maximumBytes);

/// Creates the directory and the missing ones above it, each readable, writable and searchable by its owner only.
/// An existing directory is left as it is.
void createPrivateDirectories(const std::filesystem::path& directory);

/// Whether this is a directory that only this user can read, write and enter (mode 0700); a link to one is none.
bool isPrivateDirectory(const std::filesystem::path& path);

}  // namespace corvana::files
