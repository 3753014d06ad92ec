// An application that is not installed has no URL, and opening takes no nil.
#import <AppKit/AppKit.h>

void openChrome() {
  [NSWorkspace.sharedWorkspace
      openApplicationAtURL:[NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:@"com.google.Chrome"]
             configuration:[NSWorkspaceOpenConfiguration configuration]
         completionHandler:nil];
}
