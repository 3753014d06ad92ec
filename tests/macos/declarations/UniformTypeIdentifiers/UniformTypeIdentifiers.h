#pragma once

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@interface UTType : NSObject <NSCopying>
+ (nullable instancetype)typeWithIdentifier:(NSString*)identifier;
@end

#pragma clang assume_nonnull end
