// Bytes that are no text make no identifier. Only the analysis of paths sees it, since the variable says nothing.
#import <AppKit/AppKit.h>

NSURL* applicationURL(const char* _Nonnull bytes, NSUInteger length) {
  NSString* identifier = [[NSString alloc] initWithBytes:bytes length:length encoding:NSUTF8StringEncoding];
  return [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:identifier];
}
