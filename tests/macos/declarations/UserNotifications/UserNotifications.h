#pragma once

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@class UNNotification;
@class UNNotificationTrigger;
@class UNUserNotificationCenter;

// Apart from the types, as in C++ the system's own headers have them, so that combining two needs no cast.
using UNAuthorizationOptions = NSUInteger;
enum : UNAuthorizationOptions { UNAuthorizationOptionAlert = 1 << 2 };
using UNNotificationPresentationOptions = NSUInteger;
enum : UNNotificationPresentationOptions {
  UNNotificationPresentationOptionList = 1 << 3,
  UNNotificationPresentationOptionBanner = 1 << 4
};

extern "C" NSString* const UNNotificationDefaultActionIdentifier;

@interface UNNotificationContent : NSObject <NSCopying>
@end

@interface UNMutableNotificationContent : UNNotificationContent
@property(copy) NSString* title;
@property(copy) NSString* body;
@end

@interface UNNotificationRequest : NSObject <NSCopying>
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

@interface UNNotificationResponse : NSObject <NSCopying>
@property(readonly, copy) NSString* actionIdentifier;
@end

/// As with NSApplicationDelegate, the system requires neither method.
@protocol UNUserNotificationCenterDelegate <NSObject>
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler;
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler;
@end

@interface UNUserNotificationCenter : NSObject
@property(nullable, weak) id<UNUserNotificationCenterDelegate> delegate;
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:(void (^)(BOOL granted, NSError* _Nullable error))completionHandler;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
@end

#pragma clang assume_nonnull end
