#pragma once

#include <filesystem>

#import <Foundation/Foundation.h>

namespace corvana {

/// The URL of a file, byte for byte. Nil for an empty path, which could otherwise pass for the working directory; a
/// relative path is one from there. Nothing is looked up, so that `isDirectory` is the caller's word.
inline NSURL* _Nullable fileURLFrom(const std::filesystem::path& file, BOOL isDirectory) {
  if (file.empty()) return nil;
  return [NSURL fileURLWithFileSystemRepresentation:file.c_str() isDirectory:isDirectory relativeToURL:nil];
}

}  // namespace corvana
