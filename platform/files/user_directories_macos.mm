#include "platform/files/user_directories.h"

#import <Foundation/Foundation.h>

#include "platform/files/files.h"

namespace corvana::userDirectories {
std::filesystem::path home() {
  return NSFileManager.defaultManager.homeDirectoryForCurrentUser.fileSystemRepresentation;
}

std::filesystem::path temporary() {
  // The system keeps one per user, but falls back to the one that all share; and lstat follows a trailing slash.
  const std::filesystem::path system = std::filesystem::path(NSTemporaryDirectory().fileSystemRepresentation) / "";
  if (const std::filesystem::path own = system.parent_path(); files::isPrivateDirectory(own)) return own;
  const std::filesystem::path last = home() / "Library/Caches/app.corvana";
  try {
    files::createPrivateDirectories(last);
  } catch (const std::filesystem::filesystem_error&) {
    // Whoever creates a file in it gets the error, with the path.
  }
  return last;
}

}  // namespace corvana::userDirectories
