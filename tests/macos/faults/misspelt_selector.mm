// "urlFor" for "URLFor".
#import <AppKit/AppKit.h>

NSURL* chromeURL() { return [NSWorkspace.sharedWorkspace urlForApplicationWithBundleIdentifier:@"com.google.Chrome"]; }
