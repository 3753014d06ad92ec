#include "platform/files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/files/file_system_posix.h"
#include "platform/process/unique_fd.h"
#include "platform/text/uuid.h"

namespace corvana::files {
namespace {

[[noreturn]] void fail(const char* what, const std::filesystem::path& file, int error) {
  throw std::filesystem::filesystem_error(what, file, std::error_code(error, std::generic_category()));
}

/// What a link leads to, and what that leads to, be it there or not. Any other file is its own place.
std::filesystem::path placeOf(std::filesystem::path file) {
  constexpr int mostLinks = 40;  // as many as Linux follows, by path_resolution(7)
  for (int links = 0; links <= mostLinks; ++links) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(file, error);
    if (error == std::errc::invalid_argument || error == std::errc::no_such_file_or_directory) return file;
    if (error) fail("cannot examine", file, error.value());
    file = file.parent_path() / target;
  }
  fail("cannot write", file, ELOOP);
}

constexpr std::string_view keptSuffix = ".kept-";

/// Also of two that cannot be read when they are one, by two names.
bool haveSameContent(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code error;
  if (std::filesystem::equivalent(a, b, error)) return true;
  const std::uintmax_t size = std::filesystem::file_size(a, error);
  if (error || size != std::filesystem::file_size(b, error)) return false;
  try {
    return read(a, size) == read(b, size);
  } catch (const std::filesystem::filesystem_error&) {
    return false;
  }
}

constexpr std::string_view temporarySuffix = ".new";

/// Begins the names of the temporary files that become `file`.
std::string temporaryPrefix(const std::filesystem::path& file) {
  return "." + file.filename().string() + ".";
}

std::filesystem::path temporaryFor(const std::filesystem::path& file) {
  return file.parent_path() / (temporaryPrefix(file) + randomUUID() + std::string(temporarySuffix));
}

/// A new file that is gone again unless it is given its place.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::filesystem::path path)
      : path_(std::move(path)),
        descriptor_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    if (!descriptor_) fail("cannot create", path_, errno);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!isPlaced_) (void)::unlink(path_.c_str());  // nothing more can be done about it here
  }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(descriptor_.get(), bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) fail("cannot write", path_, errno);
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  ModificationDate date() const {
    struct stat status {};
    if (::fstat(descriptor_.get(), &status) != 0) fail("cannot examine", path_, errno);
    return modificationDateOf(status);
  }

  /// Gives it the time of now, to the nanosecond: the file system's own clock ticks so seldom that two files in a row,
  /// of two processes even, would have the same date. If that is not later than `replaced`, the clock having been set
  /// back, it becomes so.
  void setDate(const std::optional<ModificationDate>& replaced) {
    constexpr std::int64_t nanosecondsInASecond = 1'000'000'000;
    timespec now{};
    if (::clock_gettime(CLOCK_REALTIME, &now) == 0) set(now);
    if (!replaced || replaced->seconds > std::int64_t{1} << 40) return;  // nonsense, and near the end of all dates
    // File systems that keep less than nanoseconds round down; the coarsest keeps every other second.
    for (const std::int64_t step : {std::int64_t{1}, std::int64_t{1'000}, 2 * nanosecondsInASecond}) {
      if (date() > *replaced) return;
      const std::int64_t nanoseconds = replaced->nanoseconds + step;
      set({.tv_sec = replaced->seconds + nanoseconds / nanosecondsInASecond,
           .tv_nsec = nanoseconds % nanosecondsInASecond});
    }
  }

  void moveTo(const std::filesystem::path& place) {
    if (synchronize(descriptor_.get()) != 0) fail("cannot write", path_, errno);
    if (::rename(path_.c_str(), place.c_str()) != 0) fail("cannot replace", place, errno);
    isPlaced_ = true;
  }

 private:
  void set(const timespec& date) {
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, date};
    if (::futimens(descriptor_.get(), times) != 0) fail("cannot set the date of", path_, errno);
  }

  std::filesystem::path path_;
  UniqueFD descriptor_;
  bool isPlaced_ = false;
};

/// Removes the temporary files of writers that ended before they were done. Those of the last hour may be in use.
void removeLeftovers(const std::filesystem::path& file) {
  const auto limit = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  const std::string prefix = temporaryPrefix(file);
  std::error_code error;
  for (std::filesystem::directory_iterator entry(file.parent_path(), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code ignored;
    if (name.starts_with(prefix) && name.ends_with(temporarySuffix) && entry->last_write_time(ignored) < limit &&
        !ignored) {
      std::filesystem::remove(entry->path(), ignored);
    }
  }
}

}  // namespace

bool exists(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

std::optional<ModificationDate> modificationDate(const std::filesystem::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) return std::nullopt;
  return modificationDateOf(status);
}

void setModificationDate(const std::filesystem::path& file, std::chrono::system_clock::time_point date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
  const timespec times[] = {
      {.tv_sec = 0, .tv_nsec = UTIME_OMIT},
      {.tv_sec = seconds.time_since_epoch().count(), .tv_nsec = std::chrono::nanoseconds(date - seconds).count()}};
  if (::utimensat(AT_FDCWD, file.c_str(), times, 0) != 0) fail("cannot set the date of", file, errno);
}

std::string read(const std::filesystem::path& file, std::size_t maximumBytes) {
  return readDated(file, maximumBytes).bytes;
}

DatedContent readDated(const std::filesystem::path& file, std::size_t maximumBytes) {
  const UniqueFD fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) fail("cannot open", file, errno);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) fail("cannot read", file, errno);
  if (S_ISDIR(status.st_mode)) fail("cannot read", file, EISDIR);
  if (!S_ISREG(status.st_mode)) fail("not a regular file", file, EINVAL);

  DatedContent content{.bytes = {}, .date = modificationDateOf(status)};
  std::string& bytes = content.bytes;
  char chunk[16'384];
  while (true) {
    const ssize_t count = ::read(fd.get(), chunk, sizeof chunk);
    if (count == 0) return content;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("cannot read", file, errno);
    if (bytes.size() + static_cast<std::size_t>(count) > maximumBytes) fail("larger than expected", file, EFBIG);
    bytes.append(chunk, static_cast<std::size_t>(count));
  }
}

ModificationDate replace(const std::filesystem::path& file, std::string_view bytes) {
  const std::filesystem::path place = placeOf(file);
  TemporaryFile fresh(temporaryFor(place));
  fresh.write(bytes);
  fresh.setDate(modificationDate(place));
  const ModificationDate date = fresh.date();
  fresh.moveTo(place);

  // The new file is in its place. Were its folder's entry lost to a power failure, the old one would be there, whole.
  const UniqueFD folder(::open(place.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) (void)synchronize(folder.get());
  removeLeftovers(place);
  return date;
}

std::optional<std::filesystem::path> keepAside(const std::filesystem::path& file) {
  const std::filesystem::path place = placeOf(file);
  for (int number = 1;; ++number) {
    std::filesystem::path kept = place;
    kept += std::string(keptSuffix) + std::to_string(number);
    // A second name costs nothing and needs no reading, which may be what fails.
    if (::link(place.c_str(), kept.c_str()) == 0) return kept;
    const int error = errno;
    if (error == ENOENT) return std::nullopt;
    if (error == EEXIST) {
      if (haveSameContent(place, kept)) return kept;
      continue;
    }
    TemporaryFile copy(temporaryFor(kept));  // not every file system has links
    copy.write(read(place, std::filesystem::file_size(place)));
    copy.moveTo(kept);
    return kept;
  }
}

void removeKept(const std::filesystem::path& file) {
  const std::filesystem::path place = placeOf(file);
  const std::string prefix = place.filename().string() + std::string(keptSuffix);
  std::vector<std::filesystem::path> kept;
  for (const auto& entry : std::filesystem::directory_iterator(place.parent_path())) {
    if (entry.path().filename().string().starts_with(prefix)) kept.push_back(entry.path());
  }
  for (const std::filesystem::path& copy : kept) std::filesystem::remove(copy);
}

void createPrivateDirectories(const std::filesystem::path& directory) {
  std::error_code ignored;
  if (std::filesystem::is_directory(directory, ignored)) return;
  if (directory.has_relative_path() && directory.has_parent_path() && directory.parent_path() != directory) {
    createPrivateDirectories(directory.parent_path());
  }
  if (::mkdir(directory.c_str(), 0700) != 0) {
    const int error = errno;
    // Another process may have made it meanwhile.
    if (error == EEXIST && std::filesystem::is_directory(directory, ignored)) return;
    fail("cannot create directory", directory, error);
  }
  // What the user's mask took away would keep the user out.
  if (::chmod(directory.c_str(), 0700) != 0) fail("cannot make private", directory, errno);
}

bool isPrivateDirectory(const std::filesystem::path& path) {
  struct stat status {};
  const std::filesystem::path plain = path.has_filename() ? path : path.parent_path();  // "link/" is what it leads to
  return ::lstat(plain.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid() &&
         (status.st_mode & 07777) == 0700;
}

}  // namespace corvana::files
