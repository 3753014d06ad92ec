#include "platform/macos/trash_macos.h"

#include <stdexcept>
#include <string>

#import <Foundation/Foundation.h>

#include "platform/macos/file_url.h"
#include "platform/macos/ns_string.h"

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
