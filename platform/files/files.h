#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// File access that is the same on every system. Any thread; failures are std::filesystem::filesystem_error.
namespace corvana::files {

/// Whether anything is there, as far as can be seen; links are followed.
bool exists(const std::filesystem::path& path);

/// When a file was last changed, as exactly as its file system keeps it.
struct ModificationDate {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  auto operator<=>(const ModificationDate&) const = default;
};

/// Nothing when there is no such file, or when it cannot be seen.
std::optional<ModificationDate> modificationDate(const std::filesystem::path& file);

/// Throws std::filesystem::filesystem_error.
void setModificationDate(const std::filesystem::path& file, std::chrono::system_clock::time_point date);

struct DatedContent {
  std::string bytes;
  /// Of the very file that the bytes come from, from before they were read.
  ModificationDate date;
};

/// The whole content of a regular file of at most `maximumBytes`. Never blocks on a FIFO or device.
DatedContent readDated(const std::filesystem::path& file, std::size_t maximumBytes);

/// The content alone.
std::string read(const std::filesystem::path& file, std::size_t maximumBytes);

/// Puts a file with this content in the place of `file`, so that whoever reads it, and whatever fails, finds either the
/// old content or the new one whole. A link stays, and what it leads to is written. The new file is readable and
/// writable by its owner only and its modification date is later than that of the file it replaces, since others tell
/// by the date that there is something new. Its folder must be there. What earlier writers were killed over is cleared
/// away. The result is the new file's date.
ModificationDate replace(const std::filesystem::path& file, std::string_view bytes);

/// Keeps what is in `file` under another name, "settings.json.kept-1" and so on, beside the file or beside what it
/// leads to if it is a link, whether or not it can be read. What is kept already is not kept again. The copy's path;
/// nothing when there is no file.
std::optional<std::filesystem::path> keepAside(const std::filesystem::path& file);

/// Removes all that was kept of the file.
void removeKept(const std::filesystem::path& file);

/// Creates the directory and the missing ones above it, each readable, writable and searchable by its owner only.
/// An existing directory is left as it is.
void createPrivateDirectories(const std::filesystem::path& directory);

/// Whether this is a directory that only this user can read, write and enter (mode 0700); a link to one is none.
bool isPrivateDirectory(const std::filesystem::path& path);

}  // namespace corvana::files
