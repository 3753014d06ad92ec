#include "platform/desktop/workspace_macos.h"

#include <utility>

#import <AppKit/AppKit.h>
#import <dispatch/dispatch.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {
namespace {

/// Reports a failure that shows before the system is asked, but like all others after the call.
void refuse(Workspace::OpenCompletion completion, std::string reason) {
  if (!completion) return;
  const OpenError error{std::move(reason)};
  dispatch_async(dispatch_get_main_queue(), ^{
    completion(error);
  });
}

OpenError openErrorFrom(const std::filesystem::path& file, NSError* _Nonnull error) {
  return {file.string() + ": " + utf8From(error.localizedDescription) + " (" + utf8From(error.domain) + " " +
          std::to_string(error.code) + ")"};
}

/// Nil when the application has ended, even if its process number is another's by now.
NSRunningApplication* _Nullable find(const RunningApplication& application) {
  NSRunningApplication* found =
      [NSRunningApplication runningApplicationWithProcessIdentifier:application.processIdentifier];
  NSString* identifier = found.bundleIdentifier;
  return identifier != nil && utf8From(identifier) == application.bundleIdentifier ? found : nil;
}

}  // namespace

std::optional<std::filesystem::path> WorkspaceMacOS::urlForApplication(std::string_view bundleIdentifier) {
  NSString* identifier = nsStringFrom(bundleIdentifier);
  if (identifier == nil) return std::nullopt;
  NSURL* url = [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:identifier];
  if (url == nil) return std::nullopt;
  return url.fileSystemRepresentation;
}

std::vector<RunningApplication> WorkspaceMacOS::runningApplications(std::string_view bundleIdentifier) {
  NSString* identifier = nsStringFrom(bundleIdentifier);
  if (identifier == nil) return {};
  std::vector<RunningApplication> result;
  for (NSRunningApplication* application in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
    if (application.terminated) continue;  // listed until the run loop hears of its end
    result.push_back(
        {.bundleIdentifier = std::string(bundleIdentifier), .processIdentifier = application.processIdentifier});
  }
  return result;
}

void WorkspaceMacOS::openApplication(const std::filesystem::path& file, const OpenConfiguration& configuration,
                                     OpenCompletion completion) {
  NSMutableArray<NSString*>* arguments = [NSMutableArray arrayWithCapacity:configuration.arguments.size()];
  for (const std::string& argument : configuration.arguments) {
    if (argument.find('\0') != std::string::npos) {
      return refuse(std::move(completion), "an argument holds a zero byte, which no program can be given");
    }
    NSString* text = nsStringFrom(argument);
    if (text == nil) return refuse(std::move(completion), "an argument is not UTF-8, and only texts can be passed on");
    [arguments addObject:text];
  }
  NSWorkspaceOpenConfiguration* how = [NSWorkspaceOpenConfiguration configuration];
  how.arguments = arguments;
  how.createsNewApplicationInstance = configuration.createsNewApplicationInstance;
  how.activates = configuration.activates;
  how.addsToRecentItems = configuration.addsToRecentItems;
  NSURL* url = [NSURL fileURLWithFileSystemRepresentation:file.c_str() isDirectory:YES relativeToURL:nil];
  const std::filesystem::path opened = file;  // a block keeps no reference alive
  [NSWorkspace.sharedWorkspace
      openApplicationAtURL:url
             configuration:how
         completionHandler:^(NSRunningApplication* _Nullable application, NSError* _Nullable error) {
           if (!completion) return;
           if (application != nil) return completion(std::nullopt);
           NSError* reason = error;
           completion(reason != nil ? openErrorFrom(opened, reason)
                                    : OpenError{opened.string() + ": cannot be opened, the system does not say why"});
         }];
}

void WorkspaceMacOS::terminate(const RunningApplication& application) {
  // The answer only says whether it could be asked; a caller looks at what runs.
  (void)[find(application) terminate];
}

void WorkspaceMacOS::forceTerminate(const RunningApplication& application) {
  (void)[find(application) forceTerminate];  // likewise
}

}  // namespace corvana
