#include "platform/files/trash_macos.h"

#include <stdexcept>
#include <string>

#import <Foundation/Foundation.h>

#include "platform/files/file_url_macos.h"
#include "platform/text/ns_string_macos.h"

namespace corvana {

void TrashMacOS::move(const std::filesystem::path& file) {
  NSURL* url = fileURLFrom(file, NO);
  if (url == nil) throw std::runtime_error("no file is named");
  NSError* error = nil;
  if ([NSFileManager.defaultManager trashItemAtURL:url resultingItemURL:nil error:&error]) return;
  NSError* reason = error;
  throw std::runtime_error(file.string() + ": " +
                           (reason != nil ? utf8From(reason.localizedDescription) : "cannot be moved to the trash"));
}

}  // namespace corvana
