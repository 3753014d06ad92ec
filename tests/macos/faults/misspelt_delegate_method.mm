// "Launch" for "Launching": the system would never call it.
#import <AppKit/AppKit.h>

@interface CVNFaultyDelegate : NSObject <NSApplicationDelegate>
@end

@implementation CVNFaultyDelegate
- (void)applicationWillFinishLaunching:(NSNotification*)notification {
}
- (void)applicationDidFinishLaunch:(NSNotification*)notification {
}
- (void)application:(NSApplication*)application openURLs:(NSArray<NSURL*>*)urls {
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
