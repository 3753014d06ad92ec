#include "platform/desktop/application_handlers_macos.h"

#include <algorithm>
#include <utility>

#import <AppKit/AppKit.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>
#import <dispatch/dispatch.h>

#include "platform/files/file_url_macos.h"
#include "platform/text/ns_string_macos.h"

namespace corvana {
namespace {

using Handler = void (^)(NSError* _Nullable error);

/// Launch Services is asked about whole URLs only. The host is one that belongs to nobody (RFC 2606), so that no
/// application can have claimed its links.
NSURL* _Nullable probeFor(const std::string& scheme) {
  NSString* text = nsStringFrom(scheme + "://www.example.com/");
  return text != nil ? [NSURL URLWithString:text] : nil;
}

/// Nil for an identifier that the system has not heard of.
UTType* _Nullable contentTypeFor(const std::string& name) {
  NSString* identifier = nsStringFrom(name);
  return identifier != nil ? [UTType typeWithIdentifier:identifier] : nil;
}

NSArray<NSURL*>* _Nullable urlsFor(const Handled& handled) {
  switch (handled.kind) {
    case Handled::Kind::scheme: {
      NSURL* probe = probeFor(handled.name);
      return probe != nil ? [NSWorkspace.sharedWorkspace URLsForApplicationsToOpenURL:probe] : nil;
    }
    case Handled::Kind::contentType: {
      UTType* type = contentTypeFor(handled.name);
      return type != nil ? [NSWorkspace.sharedWorkspace URLsForApplicationsToOpenContentType:type] : nil;
    }
  }
}

NSURL* _Nullable defaultURLFor(const Handled& handled) {
  switch (handled.kind) {
    case Handled::Kind::scheme: {
      NSURL* probe = probeFor(handled.name);
      return probe != nil ? [NSWorkspace.sharedWorkspace URLForApplicationToOpenURL:probe] : nil;
    }
    case Handled::Kind::contentType: {
      UTType* type = contentTypeFor(handled.name);
      return type != nil ? [NSWorkspace.sharedWorkspace URLForApplicationToOpenContentType:type] : nil;
    }
  }
}

void complete(const ApplicationHandlers::Completion& completion, std::optional<std::string> error) {
  const ApplicationHandlers::Completion called = completion;  // a block keeps no reference alive
  const std::optional<std::string> reason = std::move(error);
  dispatch_async(dispatch_get_main_queue(), ^{
    called(reason);
  });
}

/// The system does not promise that it answers after the call, so that its answers take the same way as our own.
Handler _Nonnull handlerFor(ApplicationHandlers::Completion completion) {
  return ^(NSError* _Nullable error) {
    NSError* reason = error;
    complete(completion, reason != nil ? std::optional(utf8From(reason.localizedDescription)) : std::nullopt);
  };
}

/// Empty for a value of another kind: anyone can write an application's property list.
std::string textFor(NSString* _Nonnull key, NSBundle* _Nonnull bundle) {
  id value = [bundle objectForInfoDictionaryKey:key];
  return [value isKindOfClass:NSString.class] ? utf8From(value) : "";
}

}  // namespace

std::vector<std::filesystem::path> ApplicationHandlersMacOS::applications(const Handled& handled) {
  std::vector<std::filesystem::path> result;
  for (NSURL* url in urlsFor(handled)) result.emplace_back(url.fileSystemRepresentation);
  // Nothing promises that the system's order begins with its default.
  if (const auto preferred = defaultApplication(handled)) {
    const auto found = std::find(result.begin(), result.end(), *preferred);
    if (found != result.end()) std::rotate(result.begin(), found, found + 1);
  }
  return result;
}

std::optional<std::filesystem::path> ApplicationHandlersMacOS::defaultApplication(const Handled& handled) {
  NSURL* url = defaultURLFor(handled);
  if (url == nil) return std::nullopt;
  return url.fileSystemRepresentation;
}

void ApplicationHandlersMacOS::setDefaultApplication(const std::filesystem::path& application, const Handled& handled,
                                                     Completion completion) {
  NSURL* url = fileURLFrom(application, YES);
  if (url == nil) return complete(completion, "no application is named");
  switch (handled.kind) {
    case Handled::Kind::scheme: {
      NSString* scheme = nsStringFrom(handled.name);
      if (scheme == nil) return complete(completion, "a scheme is not UTF-8");
      return [NSWorkspace.sharedWorkspace setDefaultApplicationAtURL:url
                                                toOpenURLsWithScheme:scheme
                                                   completionHandler:handlerFor(std::move(completion))];
    }
    case Handled::Kind::contentType: {
      UTType* type = contentTypeFor(handled.name);
      if (type == nil) return complete(completion, "the system knows no content type \"" + handled.name + "\"");
      return [NSWorkspace.sharedWorkspace setDefaultApplicationAtURL:url
                                                   toOpenContentType:type
                                                   completionHandler:handlerFor(std::move(completion))];
    }
  }
}

std::optional<ApplicationInfo> ApplicationHandlersMacOS::info(const std::filesystem::path& application) {
  NSURL* url = fileURLFrom(application, YES);
  if (url == nil) return std::nullopt;
  // Foundation may remember what it read of a bundle before, so that an update can show only in the next run.
  NSBundle* bundle = [NSBundle bundleWithURL:url];
  if (bundle == nil) return std::nullopt;  // any folder is a bundle to Foundation, so that there is none
  NSString* identifier = bundle.bundleIdentifier;
  if (identifier == nil) return std::nullopt;
  NSString* file = url.lastPathComponent;
  return ApplicationInfo{
      .bundleIdentifier = utf8From(identifier),
      .name = file != nil ? utf8From(file.stringByDeletingPathExtension) : "",
      .displayName = textFor(@"CFBundleDisplayName", bundle),
      .bundleName = textFor(@"CFBundleName", bundle),
      .version = textFor(@"CFBundleShortVersionString", bundle),
  };
}

}  // namespace corvana
