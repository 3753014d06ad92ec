#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

using OSStatus = int;
enum { noErr = 0 };

#pragma clang assume_nonnull begin

OSStatus LSRegisterURL(CFURLRef inURL, Boolean inUpdate);

#pragma clang assume_nonnull end

}  // extern "C"
