// The URLs come as objects, not as texts.
#import <AppKit/AppKit.h>

@interface CVNFaultyDelegate : NSObject <NSApplicationDelegate>
@end

@implementation CVNFaultyDelegate
- (void)applicationWillFinishLaunching:(NSNotification*)notification {
}
- (void)applicationDidFinishLaunching:(NSNotification*)notification {
}
- (void)application:(NSApplication*)application openURLs:(NSArray<NSString*>*)urls {
}
- (BOOL)applicationShouldHandleReopen:(NSApplication*)application hasVisibleWindows:(BOOL)hasVisibleWindows {
  return NO;
}
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)application {
  return NSTerminateNow;
}
- (void)applicationWillTerminate:(NSNotification*)notification {
}
@end
