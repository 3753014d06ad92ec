#pragma once

#include <objc/NSObject.h>

#include <cstdint>

// Objects of dispatch are objects of Objective-C, so that automatic reference counting keeps them.
@protocol OS_dispatch_object <NSObject>
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
@protocol OS_dispatch_queue_attr <OS_dispatch_object>
@end
@protocol OS_dispatch_source <OS_dispatch_object>
@end

extern "C" {

#pragma clang assume_nonnull begin

using dispatch_object_t = NSObject<OS_dispatch_object>*;
using dispatch_queue_t = NSObject<OS_dispatch_queue>*;
using dispatch_queue_attr_t = NSObject<OS_dispatch_queue_attr>*;
using dispatch_source_t = NSObject<OS_dispatch_source>*;
using dispatch_block_t = void (^)(void);
using dispatch_function_t = void (*)(void* _Nullable);
using dispatch_time_t = std::uint64_t;
using dispatch_source_type_t = const struct dispatch_source_type_s*;

inline constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;
inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~dispatch_time_t{0};
extern const struct dispatch_source_type_s _dispatch_source_type_read;
extern const struct dispatch_source_type_s _dispatch_source_type_timer;
#define DISPATCH_QUEUE_SERIAL nullptr
#define DISPATCH_SOURCE_TYPE_READ (&_dispatch_source_type_read)
#define DISPATCH_SOURCE_TYPE_TIMER (&_dispatch_source_type_timer)

void dispatch_activate(dispatch_object_t object);
void dispatch_suspend(dispatch_object_t object);
void dispatch_resume(dispatch_object_t object);
void dispatch_set_context(dispatch_object_t object, void* _Nullable context);

dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_queue_create(const char* _Nullable label, dispatch_queue_attr_t _Nullable attributes)
    __attribute__((ns_returns_retained));
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_async_f(dispatch_queue_t queue, void* _Nullable context, dispatch_function_t work);
void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);
dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle, std::uintptr_t mask,
                                         dispatch_queue_t _Nullable queue) __attribute__((ns_returns_retained));
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t _Nullable handler);
void dispatch_source_set_event_handler_f(dispatch_source_t source, dispatch_function_t _Nullable handler);
void dispatch_source_set_cancel_handler_f(dispatch_source_t source, dispatch_function_t _Nullable handler);
void dispatch_source_set_timer(dispatch_source_t source, dispatch_time_t start, std::uint64_t interval,
                               std::uint64_t leeway);
void dispatch_source_cancel(dispatch_source_t source);

#pragma clang assume_nonnull end

}  // extern "C"
