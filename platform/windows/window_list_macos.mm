#include "platform/windows/window_list_macos.h"

#include <type_traits>

#import <CoreFoundation/CoreFoundation.h>
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>

namespace corvana {
namespace {

static_assert(std::is_same_v<pid_t, int>, "process identifiers are read as int");

/// Nil for a value of another kind. Foundation's class of numbers also holds truth values, so that the class alone
/// does not tell.
NSNumber* _Nullable numberFrom(id _Nullable value) {
  if (value == nil || CFGetTypeID((__bridge CFTypeRef)value) != CFNumberGetTypeID()) return nil;
  return static_cast<NSNumber*>(value);
}

std::optional<int> integerFrom(id _Nullable value) {
  NSNumber* number = numberFrom(value);
  if (number == nil) return std::nullopt;
  int integer = 0;
  // False for a fraction and beyond the range, where NSNumber's own intValue would quietly give another number.
  if (!CFNumberGetValue((__bridge CFNumberRef)number, kCFNumberIntType, &integer)) return std::nullopt;
  return integer;
}

std::optional<double> heightFrom(id _Nullable bounds) {
  if (![bounds isKindOfClass:NSDictionary.class]) return std::nullopt;
  // The key is one of those that CGRectCreateDictionaryRepresentation writes; it has no public constant.
  NSNumber* height = numberFrom(static_cast<NSDictionary<id, id>*>(bounds)[@"Height"]);
  if (height == nil) return std::nullopt;
  return height.doubleValue;
}

WindowDescription descriptionFrom(NSDictionary<id, id>* _Nonnull window) {
  return {
      .owner = integerFrom(window[(__bridge NSString*)kCGWindowOwnerPID]),
      .height = heightFrom(window[(__bridge NSString*)kCGWindowBounds]),
      .layer = integerFrom(window[(__bridge NSString*)kCGWindowLayer]),
  };
}

}  // namespace

std::optional<std::vector<WindowDescription>> WindowListMacOS::windows() {
  constexpr CGWindowListOption options = kCGWindowListOptionOnScreenOnly | kCGWindowListExcludeDesktopElements;
  // The list is a copy that nobody else releases, so that it is handed over to reference counting.
  NSArray<id>* list = (__bridge_transfer NSArray<id>*)CGWindowListCopyWindowInfo(options, kCGNullWindowID);
  if (list == nil) return std::nullopt;
  std::vector<WindowDescription> result;
  for (id window in list) {
    if ([window isKindOfClass:NSDictionary.class]) {
      result.push_back(descriptionFrom(static_cast<NSDictionary<id, id>*>(window)));
    }
  }
  return result;
}

bool WindowListMacOS::canSeeOtherApplicationsWindows() { return CGPreflightScreenCaptureAccess(); }

}  // namespace corvana
