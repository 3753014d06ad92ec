#pragma once

#include <objc/NSObject.h>

#include <cstdint>

// Objects of dispatch are objects of Objective-C, so that automatic reference counting keeps them.
@protocol OS_dispatch_queue <NSObject>
@end
@protocol OS_dispatch_source <NSObject>
@end

extern "C" {

#pragma clang assume_nonnull begin

using dispatch_queue_t = NSObject<OS_dispatch_queue>*;
using dispatch_source_t = NSObject<OS_dispatch_source>*;
using dispatch_block_t = void (^)(void);
using dispatch_function_t = void (*)(void* _Nullable);
using dispatch_time_t = std::uint64_t;
using dispatch_source_type_t = const struct dispatch_source_type_s*;

inline constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;
inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~dispatch_time_t{0};
extern const struct dispatch_source_type_s _dispatch_source_type_timer;
#define DISPATCH_SOURCE_TYPE_TIMER (&_dispatch_source_type_timer)

dispatch_queue_t dispatch_get_main_queue(void);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_async_f(dispatch_queue_t queue, void* _Nullable context, dispatch_function_t work);
dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle, std::uintptr_t mask,
                                         dispatch_queue_t _Nullable queue) __attribute__((ns_returns_retained));
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t _Nullable handler);
void dispatch_source_set_timer(dispatch_source_t source, dispatch_time_t start, std::uint64_t interval,
                               std::uint64_t leeway);
void dispatch_source_cancel(dispatch_source_t source);
// The system takes any object of dispatch; sources are the only ones activated here.
void dispatch_activate(dispatch_source_t object);

#pragma clang assume_nonnull end

}  // extern "C"
