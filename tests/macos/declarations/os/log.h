#pragma once

#include <objc/NSObject.h>

#include <cstdint>

@protocol OS_os_log <NSObject>
@end

extern "C" {

#pragma clang assume_nonnull begin

using os_log_t = NSObject<OS_os_log>*;
enum os_log_type_t : std::uint8_t { OS_LOG_TYPE_DEFAULT = 0, OS_LOG_TYPE_INFO = 1, OS_LOG_TYPE_ERROR = 16 };

os_log_t os_log_create(const char* subsystem, const char* category) __attribute__((ns_returns_retained));
// The system's is a macro; what it makes of its arguments is the same.
void os_log_with_type(os_log_t log, os_log_type_t type, const char* format, ...) __attribute__((format(os_log, 3, 4)));

#pragma clang assume_nonnull end

}  // extern "C"
