#pragma once

extern "C" {

using Boolean = unsigned char;
using UTF32Char = unsigned int;
using CFTypeID = unsigned long;
using CFTypeRef = const void*;
// The bridge makes the compiler refuse a cast from another class.
using CFNumberRef = const struct __attribute__((objc_bridge(NSNumber))) __CFNumber*;
using CFArrayRef = const struct __attribute__((objc_bridge(NSArray))) __CFArray*;
using CFStringRef = const struct __attribute__((objc_bridge(NSString))) __CFString*;
using CFURLRef = const struct __attribute__((objc_bridge(NSURL))) __CFURL*;

using CFIndex = signed long;
enum CFNumberType : CFIndex { kCFNumberIntType = 9 };

#pragma clang assume_nonnull begin

CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFBooleanGetTypeID(void);
CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr);
Boolean CFNumberIsFloatType(CFNumberRef number);

#pragma clang assume_nonnull end

}  // extern "C"
