// The proxy app's executable on macOS: composes the delegate with the system's adapters and serves it.

#include <cstdlib>
#include <exception>
#include <utility>
#include <vector>

#import <AppKit/AppKit.h>

#include "core/identity/log.h"
#include "platform/macos/main_queue.h"
#include "platform/macos/ns_string.h"
#include "platform/macos/system_log_macos.h"
#include "platform/macos/workspace_macos.h"
#include "platform/running_bundle.h"
#include "stub/stub_app_delegate.h"

/// Passes on what the application is told.
@interface CVNApplicationDelegate : NSObject <NSApplicationDelegate>
/// The delegate must outlive this object.
- (instancetype)initWithStubAppDelegate:(corvana::StubAppDelegate&)delegate;
@end

@implementation CVNApplicationDelegate {
  corvana::StubAppDelegate* _delegate;
}

- (instancetype)initWithStubAppDelegate:(corvana::StubAppDelegate&)delegate {
  self = [super init];
  if (self != nil) _delegate = &delegate;
  return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  _delegate->applicationDidFinishLaunching();
}

- (void)application:(NSApplication*)application openURLs:(NSArray<NSURL*>*)urls {
  std::vector<corvana::URL> opened;
  for (NSURL* url in urls) {
    NSString* text = url.absoluteString;
    auto usable = text != nil ? corvana::URL::absolute(corvana::utf8From(text)) : std::nullopt;
    if (usable) {
      opened.push_back(std::move(*usable));
    } else {
      corvana::Log::stub.error("was given a URL that cannot be passed on");
    }
  }
  _delegate->applicationOpen(std::move(opened));
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)application hasVisibleWindows:(BOOL)hasVisibleWindows {
  _delegate->applicationShouldHandleReopen();
  return NO;  // the app has no windows of its own to bring back
}

@end

int main() {
  using namespace corvana;
  SystemLog log;
  Log::setSink(&log);
  @autoreleasepool {
    try {
      NSApplication* application = [NSApplication sharedApplication];
      [application setActivationPolicy:NSApplicationActivationPolicyRegular];
      MainQueue mainQueue;
      WorkspaceMacOS workspace;
      StubAppDelegate delegate(Bundle{runningBundlePath()}, workspace, mainQueue, [] { [NSApp terminate:nil]; });
      // The application does not retain its delegate.
      NS_VALID_UNTIL_END_OF_SCOPE CVNApplicationDelegate* applicationDelegate =
          [[CVNApplicationDelegate alloc] initWithStubAppDelegate:delegate];
      application.delegate = applicationDelegate;
      [application run];
      return EXIT_SUCCESS;
    } catch (const std::exception& error) {
      Log::stub.error("cannot run: ", error.what());
      return EXIT_FAILURE;
    }
  }
}
