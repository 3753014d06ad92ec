// What all Objective-C headers of these declarations build on. They are no substitute for the system's headers: they
// hold only what the adapters call, with its types, so that a compiler elsewhere finds calls that the system would not
// understand. Who calls more declares more, from the published documentation.
#pragma once

using BOOL = bool;  // as on Apple silicon
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr

using NSInteger = long;
using NSUInteger = unsigned long;
using NSZone = struct _NSZone;

#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))
#define NS_VALID_UNTIL_END_OF_SCOPE __attribute__((objc_precise_lifetime))

#pragma clang assume_nonnull begin

@protocol NSObject
- (BOOL)isKindOfClass:(Class)aClass;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
@end

#pragma clang assume_nonnull end
