#include "platform/application/alerts_macos.h"

#import <AppKit/AppKit.h>

#include "platform/text/repaired_string_macos.h"

namespace corvana {

void AlertsMacOS::runModal(const Alert& alert, std::function<void()> dismissed) {
  NSAlert* shown = [[NSAlert alloc] init];
  shown.alertStyle = NSAlertStyleInformational;
  shown.messageText = repairedStringFrom(alert.messageText);
  shown.informativeText = repairedStringFrom(alert.informativeText);
  [shown addButtonWithTitle:repairedStringFrom(alert.buttonTitle)];
  // Not inside the call: it lasts until the user answers, and were it made by a task of the main queue no other would
  // be served for so long.
  [NSRunLoop.mainRunLoop performInModes:@[ NSRunLoopCommonModes ]
                                  block:^{
                                    (void)[shown runModal];  // there is one button only
                                    dismissed();
                                  }];
}

}  // namespace corvana
