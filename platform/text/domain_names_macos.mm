#include "platform/text/domain_names.h"

#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {

std::optional<std::string> domainToASCII(std::string_view utf8) {
  @autoreleasepool {
    NSString* name = nsStringFrom(utf8);
    if (name == nil) return std::nullopt;
    NSURLComponents* components = [[NSURLComponents alloc] init];
    components.host = name;
    NSString* encoded = components.encodedHost;
    if (encoded == nil) return std::nullopt;
    // A name for which there is no "xn--" form comes back percent-encoded.
    const std::string result = utf8From(encoded);
    if (result.find('%') != std::string::npos) return std::nullopt;
    return utf8From(encoded.lowercaseString);
  }
}

}  // namespace corvana
