#pragma once

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

enum SMAppServiceStatus : NSInteger {
  SMAppServiceStatusNotRegistered = 0,
  SMAppServiceStatusEnabled = 1,
  SMAppServiceStatusRequiresApproval = 2,
  SMAppServiceStatusNotFound = 3
};

@interface SMAppService : NSObject
@property(readonly) SMAppServiceStatus status;
+ (instancetype)loginItemServiceWithIdentifier:(NSString*)identifier;
- (BOOL)registerAndReturnError:(NSError* _Nullable __autoreleasing* _Nullable)error;
- (BOOL)unregisterAndReturnError:(NSError* _Nullable __autoreleasing* _Nullable)error;
@end

#pragma clang assume_nonnull end
