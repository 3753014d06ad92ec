#include "platform/desktop/running_bundle.h"

#import <Foundation/Foundation.h>

namespace corvana {

std::filesystem::path runningBundlePath() {
  // Without a bundle around the executable this is its folder.
  return NSBundle.mainBundle.bundleURL.fileSystemRepresentation;
}

}  // namespace corvana
