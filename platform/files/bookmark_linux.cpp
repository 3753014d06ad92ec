#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <set>
#include <vector>

#include "platform/files/bookmark.h"

namespace corvana::bookmark {
namespace {

namespace fs = std::filesystem;

/// What stays the same when a file is renamed or moved within its file system. An inode's number is given to another
/// file one day, but then with another time of birth.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// Zero on file systems that do not keep it.
  std::int64_t birthSeconds = 0;
  std::int64_t birthNanoseconds = 0;

  bool hasBirth() const { return birthSeconds != 0 || birthNanoseconds != 0; }

  /// Devices may be numbered anew when the machine starts, so that they count only where there is nothing better.
  bool isOf(const Identity& other) const {
    return inode == other.inode && birthSeconds == other.birthSeconds && birthNanoseconds == other.birthNanoseconds &&
           (hasBirth() || device == other.device);
  }
};

std::optional<Identity> identityOf(const fs::path& file) {
  struct statx status {};
  // A link is itself, wherever it leads.
  if (::statx(AT_FDCWD, file.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME, &status) != 0) return std::nullopt;
  Identity identity{.device = std::uint64_t{status.stx_dev_major} << 32 | status.stx_dev_minor,
                    .inode = status.stx_ino};
  if ((status.stx_mask & STATX_BTIME) != 0) {
    identity.birthSeconds = status.stx_btime.tv_sec;
    identity.birthNanoseconds = status.stx_btime.tv_nsec;
  }
  return identity;
}

/// Takes a number and the space behind it from the front of the text; false when they are not there.
template <class Number>
bool takeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end == text.data() + text.size() || *end != ' ') return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()) + 1);
  return true;
}

std::optional<fs::path> findIn(const fs::path& folder, const Identity& wanted) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const auto identity = identityOf(entry->path());
    if (identity && identity->isOf(wanted)) return entry->path();
  }
  return std::nullopt;
}

std::vector<fs::path> visibleFoldersIn(const fs::path& folder) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    const bool isFolder = entry->is_directory(ignored) && !entry->is_symlink(ignored);
    if (isFolder && !entry->path().filename().string().starts_with('.')) folders.push_back(entry->path());
  }
  return folders;
}

}  // namespace

// A bookmark is "1 DEVICE INODE SECONDS NANOSECONDS PATH".

std::optional<std::string> of(const fs::path& file) {
  std::error_code error;
  fs::path path = fs::absolute(file, error).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  const auto identity = identityOf(path);
  if (error || !identity) return std::nullopt;
  return "1 " + std::to_string(identity->device) + " " + std::to_string(identity->inode) + " " +
         std::to_string(identity->birthSeconds) + " " + std::to_string(identity->birthNanoseconds) + " " +
         path.string();
}

std::optional<fs::path> resolve(const std::string& bookmark, std::span<const fs::path> folders) {
  std::string_view rest = bookmark;
  int version = 0;
  Identity wanted;
  if (!takeNumber(rest, version) || version != 1 || !takeNumber(rest, wanted.device) ||
      !takeNumber(rest, wanted.inode) || !takeNumber(rest, wanted.birthSeconds) ||
      !takeNumber(rest, wanted.birthNanoseconds) || !rest.starts_with('/') || rest.find('\0') != rest.npos) {
    return std::nullopt;
  }
  const fs::path path = rest;
  const auto there = identityOf(path);
  if (there && there->isOf(wanted)) return path;
  std::vector<fs::path> candidates{path.parent_path()};
  for (const fs::path& folder : folders) {
    candidates.push_back(folder);
    std::ranges::copy(visibleFoldersIn(folder), std::back_inserter(candidates));
  }
  std::set<fs::path> seen;
  for (const fs::path& folder : candidates) {
    if (!seen.insert(folder).second) continue;
    if (auto found = findIn(folder, wanted)) return found;
  }
  return std::nullopt;
}

}  // namespace corvana::bookmark
