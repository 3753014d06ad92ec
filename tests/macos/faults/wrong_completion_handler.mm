// The handler takes an application and an error.
#import <AppKit/AppKit.h>

void openApplication(NSURL* _Nonnull url) {
  [NSWorkspace.sharedWorkspace openApplicationAtURL:url
                                      configuration:[NSWorkspaceOpenConfiguration configuration]
                                  completionHandler:^(NSError*){
                                  }];
}
