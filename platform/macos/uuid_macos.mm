#include "platform/uuid.h"

#import <Foundation/Foundation.h>

#include "platform/macos/ns_string.h"

namespace corvana {

std::string randomUUID() { return utf8From(NSUUID.UUID.UUIDString); }

}  // namespace corvana
