#include "platform/application/application_macos.h"

#include <cstdlib>
#include <utility>

#import <AppKit/AppKit.h>

#include "platform/text/ns_string_macos.h"
#include "platform/text/repaired_string_macos.h"

namespace corvana {

/// The system waits for a reply only after it has been told NSTerminateLater; one that comes before is the answer.
struct ApplicationMacOS::Question {
  enum class State { none, asking, waiting };

  State state = State::none;
  bool earlyReply = false;

  NSApplicationTerminateReply ask(ApplicationDelegate& delegate) {
    // The user wants to quit once more. There will be one reply, and the first question takes it.
    if (state != State::none) return NSTerminateCancel;
    state = State::asking;
    const ApplicationDelegate::TerminateReply answer = delegate.applicationShouldTerminate();
    if (state == State::none) return earlyReply ? NSTerminateNow : NSTerminateCancel;
    const bool isLater = answer == ApplicationDelegate::TerminateReply::terminateLater;
    state = isLater ? State::waiting : State::none;
    return isLater ? NSTerminateLater : NSTerminateNow;
  }

  void reply(bool shouldTerminate) {
    switch (std::exchange(state, State::none)) {
      case State::none:
        return;
      case State::asking:
        earlyReply = shouldTerminate;
        return;
      case State::waiting:
        return [NSApp replyToApplicationShouldTerminate:shouldTerminate];
    }
  }
};

}  // namespace corvana

/// Passes on what the application is told, by the system and by its menu.
@interface CVNApplicationDelegate : NSObject <NSApplicationDelegate>
/// Both must outlive this object.
- (instancetype)initWithDelegate:(corvana::ApplicationDelegate&)delegate
                        question:(corvana::ApplicationMacOS::Question&)question;
- (void)openNewWindow:(nullable id)sender;
- (void)bringToFront:(nullable id)sender;
@end

@implementation CVNApplicationDelegate {
  corvana::ApplicationDelegate* _delegate;
  corvana::ApplicationMacOS::Question* _question;
}

- (instancetype)initWithDelegate:(corvana::ApplicationDelegate&)delegate
                        question:(corvana::ApplicationMacOS::Question&)question {
  self = [super init];
  if (self != nil) {
    _delegate = &delegate;
    _question = &question;
  }
  return self;
}

- (void)applicationWillFinishLaunching:(NSNotification*)notification {
  _delegate->applicationWillFinishLaunching();
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  _delegate->applicationDidFinishLaunching();
}

- (void)application:(NSApplication*)application openURLs:(NSArray<NSURL*>*)urls {
  std::vector<std::string> opened;
  for (NSURL* url in urls) {
    NSString* text = url.absoluteString;
    if (text != nil) opened.push_back(corvana::utf8From(text));
  }
  _delegate->applicationOpen(opened);
}

- (BOOL)applicationShouldHandleReopen:(NSApplication*)application hasVisibleWindows:(BOOL)hasVisibleWindows {
  _delegate->applicationShouldHandleReopen();
  return NO;  // the system would bring back windows, and the application decides that itself
}

- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)application {
  return _question->ask(*_delegate);
}

- (void)applicationWillTerminate:(NSNotification*)notification {
  _delegate->applicationWillTerminate();
}

- (void)openNewWindow:(nullable id)sender {
  _delegate->openNewWindow();
}

- (void)bringToFront:(nullable id)sender {
  _delegate->bringToFront();
}

@end

namespace corvana {
namespace {

SEL _Nonnull selectorFor(MenuItem::Action action) {
  switch (action) {
    case MenuItem::Action::about:
      return @selector(orderFrontStandardAboutPanel:);
    case MenuItem::Action::openNewWindow:
      return @selector(openNewWindow:);
    case MenuItem::Action::bringToFront:
      return @selector(bringToFront:);
    case MenuItem::Action::hide:
      return @selector(hide:);
    case MenuItem::Action::terminate:
      return @selector(terminate:);
  }
}

/// An entry without a target asks the application and then its delegate; one of the two has the method. The key is
/// one to press with Command, unless the entry is told otherwise.
NSMenuItem* _Nonnull nsMenuItemFrom(const MenuItem& item) {
  if (!item.action) return [NSMenuItem separatorItem];
  const std::string_view key(&item.keyEquivalent, item.keyEquivalent != 0 ? 1 : 0);
  return [[NSMenuItem alloc] initWithTitle:repairedStringFrom(item.title)
                                    action:selectorFor(*item.action)
                             keyEquivalent:repairedStringFrom(key)];
}

}  // namespace

ApplicationMacOS::ApplicationMacOS() : question_(std::make_unique<Question>()) {
  [[NSApplication sharedApplication] setActivationPolicy:NSApplicationActivationPolicyRegular];
}

ApplicationMacOS::~ApplicationMacOS() = default;

int ApplicationMacOS::run(ApplicationDelegate& delegate) {
  // The application does not retain its delegate.
  NS_VALID_UNTIL_END_OF_SCOPE CVNApplicationDelegate* applicationDelegate =
      [[CVNApplicationDelegate alloc] initWithDelegate:delegate question:*question_];
  NSApp.delegate = applicationDelegate;
  [NSApp run];
  return EXIT_SUCCESS;
}

void ApplicationMacOS::setMainMenu(std::vector<MenuItem> menu) {
  NSMenu* entries = [[NSMenu alloc] init];
  for (const MenuItem& item : menu) [entries addItem:nsMenuItemFrom(item)];
  // The system gives the first menu the application's name.
  NSMenuItem* applicationMenu = [[NSMenuItem alloc] init];
  applicationMenu.submenu = entries;
  NSMenu* mainMenu = [[NSMenu alloc] init];
  [mainMenu addItem:applicationMenu];
  NSApp.mainMenu = mainMenu;
}

void ApplicationMacOS::terminate() {
  // Not inside the call: the caller may be a task of the main queue, and while one runs the system serves no other, not
  // even from the loop in which it would wait for the delegate's reply.
  [NSRunLoop.mainRunLoop performInModes:@[ NSRunLoopCommonModes ]
                                  block:^{
                                    if (question_->state != Question::State::none) return question_->reply(true);
                                    [NSApp terminate:nil];
                                  }];
}

void ApplicationMacOS::replyToApplicationShouldTerminate(bool shouldTerminate) { question_->reply(shouldTerminate); }

std::optional<OpeningSource> ApplicationMacOS::openingSource() {
  // Links come as Apple events, with the process that has sent them.
  NSAppleEventDescriptor* event = NSAppleEventManager.sharedAppleEventManager.currentAppleEvent;
  NSAppleEventDescriptor* sender = [event attributeDescriptorForKeyword:keySenderPIDAttr];
  if (sender == nil) return std::nullopt;
  NSRunningApplication* application = [NSRunningApplication runningApplicationWithProcessIdentifier:sender.int32Value];
  NSString* identifier = application.bundleIdentifier;
  // What the system or this program itself hands on has no application behind it that users would know.
  NSString* ownIdentifier = NSBundle.mainBundle.bundleIdentifier;
  if (identifier == nil || (ownIdentifier != nil && [identifier isEqualToString:ownIdentifier])) return std::nullopt;
  NSString* name = application.localizedName;
  return OpeningSource{.bundleIdentifier = utf8From(identifier), .name = name == nil ? "" : utf8From(name)};
}

void ApplicationMacOS::handActivationTo(const RunningApplication& other, std::function<void(bool)> completion) {
  NSRunningApplication* found = [NSRunningApplication runningApplicationWithProcessIdentifier:other.processIdentifier];
  if (found == nil) return completion(false);
  // Since macOS 14 only the application in front decides who follows it.
  [NSApp yieldActivationToApplication:found];
  completion([found activateFromApplication:NSRunningApplication.currentApplication options:0]);
}

}  // namespace corvana
