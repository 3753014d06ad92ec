#include "platform/text/uuid.h"

#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {

std::string randomUUID() { return utf8From(NSUUID.UUID.UUIDString); }

}  // namespace corvana
