#include "platform/files/bookmark.h"

#import <Foundation/Foundation.h>

#include "platform/files/file_url_macos.h"
#include "platform/text/ns_data_macos.h"

namespace corvana::bookmark {

std::optional<std::string> of(const std::filesystem::path& file) {
  @autoreleasepool {
    NSURL* url = fileURLFrom(file, NO);
    if (url == nil) return std::nullopt;
    NSData* data = [url bookmarkDataWithOptions:0 includingResourceValuesForKeys:nil relativeToURL:nil error:nil];
    if (data == nil) return std::nullopt;
    return bytesFrom(data);
  }
}

/// The system finds a file anywhere on its volume, so that it needs no folders to look in. That includes the trash.
std::optional<std::filesystem::path> resolve(const std::string& bookmark, std::span<const std::filesystem::path>) {
  @autoreleasepool {
    // A volume that is not there must neither ask for a password nor hold up the caller.
    constexpr NSURLBookmarkResolutionOptions quietly =
        NSURLBookmarkResolutionWithoutUI | NSURLBookmarkResolutionWithoutMounting;
    // A stale bookmark has found its file all the same.
    NSURL* url = [NSURL URLByResolvingBookmarkData:nsDataFrom(bookmark)
                                           options:quietly
                                     relativeToURL:nil
                               bookmarkDataIsStale:nil
                                             error:nil];
    if (url == nil) return std::nullopt;
    return url.fileSystemRepresentation;
  }
}

}  // namespace corvana::bookmark
