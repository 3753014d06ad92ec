#include "platform/text/base64.h"

#import <Foundation/Foundation.h>

#include "platform/text/ns_data_macos.h"
#include "platform/text/ns_string_macos.h"

namespace corvana::base64 {

std::string encode(std::string_view bytes) {
  @autoreleasepool {
    return utf8From([nsDataFrom(bytes) base64EncodedStringWithOptions:0]);
  }
}

std::optional<std::string> decode(std::string_view text) {
  @autoreleasepool {
    NSString* string = nsStringFrom(text);
    if (string == nil) return std::nullopt;
    NSData* data = [[NSData alloc] initWithBase64EncodedString:string options:0];
    if (data == nil) return std::nullopt;
    std::string result = bytesFrom(data);
    // Foundation passes over bits of the last character that no byte needs, which many texts could differ in.
    if (encode(result) != text) return std::nullopt;
    return result;
  }
}

}  // namespace corvana::base64
