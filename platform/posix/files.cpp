#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/unique_fd.h"

namespace corvana::files {
namespace {

[[noreturn]] void fail(const char* what, const std::filesystem::path& file, int error) {
  throw std::filesystem::filesystem_error(what, file, std::error_code(error, std::generic_category()));
}

}  // namespace

std::string read(const std::filesystem::path& file, std::size_t maximumBytes) {
  const UniqueFD fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) fail("cannot open", file, errno);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) fail("cannot read", file, errno);
  if (S_ISDIR(status.st_mode)) fail("cannot read", file, EISDIR);
  if (!S_ISREG(status.st_mode)) fail("not a regular file", file, EINVAL);

  std::string bytes;
  char chunk[16'384];
  while (true) {
    const ssize_t count = ::read(fd.get(), chunk, sizeof chunk);
    if (count == 0) return bytes;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("cannot read", file, errno);
    if (bytes.size() + static_cast<std::size_t>(count) > maximumBytes) fail("larger than expected", file, EFBIG);
    bytes.append(chunk, static_cast<std::size_t>(count));
  }
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
}

bool isPrivateDirectory(const std::filesystem::path& path) {
  struct stat status {};
  const std::filesystem::path plain = path.has_filename() ? path : path.parent_path();  // "link/" is what it leads to
  return ::lstat(plain.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid() &&
         (status.st_mode & 07777) == 0700;
}

}  // namespace corvana::files
