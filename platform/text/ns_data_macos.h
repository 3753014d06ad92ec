#pragma once

#include <string>
#include <string_view>

#import <Foundation/Foundation.h>

/// Bytes on their way between C++ and Foundation; both ways copy.
namespace corvana {

inline NSData* _Nonnull nsDataFrom(std::string_view bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

inline std::string bytesFrom(NSData* _Nonnull data) {
  if (data.length == 0) return {};  // its pointer may be null
  return std::string(static_cast<const char*>(data.bytes), data.length);
}

}  // namespace corvana
