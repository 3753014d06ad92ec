#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

extern "C" {

using CGWindowID = std::uint32_t;
constexpr CGWindowID kCGNullWindowID = 0;

// Apart from the type, as in C++ the system's own header has them, so that combining two needs no cast.
using CGWindowListOption = std::uint32_t;
enum : CGWindowListOption { kCGWindowListOptionOnScreenOnly = 1 << 0, kCGWindowListExcludeDesktopElements = 1 << 4 };

#pragma clang assume_nonnull begin

extern const CFStringRef kCGWindowLayer;
extern const CFStringRef kCGWindowBounds;
extern const CFStringRef kCGWindowOwnerPID;

CFArrayRef _Nullable CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID relativeToWindow);
bool CGPreflightScreenCaptureAccess(void);

#pragma clang assume_nonnull end

}  // extern "C"
