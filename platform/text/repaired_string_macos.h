#pragma once

#include <string_view>

#import <Foundation/Foundation.h>

#include "platform/text/ns_string_macos.h"
#include "platform/text/utf8_repair.h"

namespace corvana {

/// A text that is to be shown, or compared, even when parts of it are damaged.
inline NSString* _Nonnull repairedStringFrom(std::string_view utf8) {
  NSString* string = nsStringFrom(repairedUTF8(utf8));
  return string != nil ? string : @"";
}

}  // namespace corvana
