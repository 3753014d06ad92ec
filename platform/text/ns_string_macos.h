#pragma once

#include <string>
#include <string_view>

#import <Foundation/Foundation.h>

/// Texts on their way between C++ and Foundation. Zero bytes pass both ways.
namespace corvana {

/// Nil when the bytes are not UTF-8.
inline NSString* _Nullable nsStringFrom(std::string_view utf8) {
  if (utf8.empty()) return @"";  // a view of nothing may have a null pointer
  return [[NSString alloc] initWithBytes:utf8.data() length:utf8.size() encoding:NSUTF8StringEncoding];
}

/// Empty for a string that UTF-8 cannot express because it holds half a surrogate pair.
inline std::string utf8From(NSString* _Nonnull string) {
  const char* bytes = string.UTF8String;
  return bytes == nullptr ? "" : std::string(bytes, [string lengthOfBytesUsingEncoding:NSUTF8StringEncoding]);
}

}  // namespace corvana
