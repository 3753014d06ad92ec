#include "platform/application/user_notifications_macos.h"

#include <utility>

#import <UserNotifications/UserNotifications.h>
#import <dispatch/dispatch.h>

#include "platform/text/repaired_string_macos.h"

/// Told by the system on threads of its own, one of which may be the last to hold this object.
@interface CVNUserNotificationCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
/// The handler is called on the main queue, but copied and destroyed on any thread.
- (instancetype)initWithTapHandler:(std::function<void()>)handler;
@end

@implementation CVNUserNotificationCenterDelegate {
  std::function<void()> _onTap;
}

- (instancetype)initWithTapHandler:(std::function<void()>)handler {
  self = [super init];
  if (self != nil) _onTap = std::move(handler);
  return self;
}

/// The system asks only while the application is in front, and would else show nothing.
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler {
  completionHandler(UNNotificationPresentationOptionList | UNNotificationPresentationOptionBanner);
}

- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler {
  const BOOL isTap = [response.actionIdentifier isEqualToString:UNNotificationDefaultActionIdentifier];
  const std::function<void()> onTap = _onTap;
  dispatch_async(dispatch_get_main_queue(), ^{
    if (isTap) onTap();
    completionHandler();
  });
}

@end

namespace corvana {
namespace {

/// Asking for the center outside of a bundle ends the program.
UNUserNotificationCenter* _Nullable notificationCenter() {
  return NSBundle.mainBundle.bundleIdentifier != nil ? [UNUserNotificationCenter currentNotificationCenter] : nil;
}

}  // namespace

/// Keeps the object that the center refers to weakly.
struct UserNotificationsMacOS::CenterDelegate {
  CVNUserNotificationCenterDelegate* _Nonnull object;
};

UserNotificationsMacOS::UserNotificationsMacOS() = default;

UserNotificationsMacOS::~UserNotificationsMacOS() = default;

void UserNotificationsMacOS::setTapHandler(std::function<void()> handler) {
  onTap_ = std::move(handler);
  UNUserNotificationCenter* center = notificationCenter();
  if (center == nil || delegate_ != nullptr) return;
  // What other threads get of this object is a weak reference to it; the handler's own captures stay here.
  const auto tapped = lifetime_.guard([this] { onTap_(); });
  delegate_ = std::make_unique<CenterDelegate>(
      CenterDelegate{[[CVNUserNotificationCenterDelegate alloc] initWithTapHandler:tapped]});
  center.delegate = delegate_->object;
}

void UserNotificationsMacOS::post(const std::string& title, const std::string& body) {
  UNUserNotificationCenter* center = notificationCenter();
  if (center == nil) return;
  UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
  content.title = repairedStringFrom(title);
  content.body = repairedStringFrom(body);
  // One with the identifier of an earlier notification would replace it. Without a trigger it is shown at once.
  UNNotificationRequest* request = [UNNotificationRequest requestWithIdentifier:NSUUID.UUID.UUIDString
                                                                        content:content
                                                                        trigger:nil];
  // The answer comes on a thread of the system's, so that it must not touch this object.
  [center requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                        completionHandler:^(BOOL granted, NSError* _Nullable) {
                          if (granted) [center addNotificationRequest:request withCompletionHandler:nil];
                        }];
}

}  // namespace corvana
