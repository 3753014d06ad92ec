#include "platform/desktop/login_items_macos.h"

#include <stdexcept>
#include <string>

#import <ServiceManagement/ServiceManagement.h>

#include "platform/text/ns_string_macos.h"

namespace corvana {
namespace {

SMAppService* _Nonnull serviceFor(std::string_view bundleIdentifier) {
  NSString* identifier = nsStringFrom(bundleIdentifier);
  if (identifier == nil) throw std::runtime_error("a login item's identifier is not UTF-8");
  return [SMAppService loginItemServiceWithIdentifier:identifier];
}

void throwUnless(BOOL isDone, NSError* _Nullable error) {
  if (isDone) return;
  NSError* reason = error;
  throw std::runtime_error(reason != nil ? utf8From(reason.localizedDescription) : "the system does not say why");
}

}  // namespace

LoginItems::Status LoginItemsMacOS::status(std::string_view bundleIdentifier) {
  switch (serviceFor(bundleIdentifier).status) {
    case SMAppServiceStatusEnabled:
      return Status::enabled;
    case SMAppServiceStatusRequiresApproval:
      return Status::requiresApproval;
    case SMAppServiceStatusNotRegistered:
    case SMAppServiceStatusNotFound:  // also the answer for an item that has never been registered
      return Status::notRegistered;
  }
  return Status::notRegistered;  // one of a later system
}

void LoginItemsMacOS::add(std::string_view bundleIdentifier) {
  // The system calls it an error to register again, be the item on or switched off.
  if (status(bundleIdentifier) != Status::notRegistered) return;
  NSError* error = nil;
  const BOOL isDone = [serviceFor(bundleIdentifier) registerAndReturnError:&error];
  throwUnless(isDone, error);
}

void LoginItemsMacOS::remove(std::string_view bundleIdentifier) {
  if (status(bundleIdentifier) == Status::notRegistered) return;  // an error to the system as well
  NSError* error = nil;
  const BOOL isDone = [serviceFor(bundleIdentifier) unregisterAndReturnError:&error];
  throwUnless(isDone, error);
}

}  // namespace corvana
