// Reference counting leaves the objects of CoreFoundation to the caller, and this one is not released.
#import <CoreFoundation/CoreFoundation.h>

using CFMutableArrayRef = struct __CFArray*;
extern "C" CFMutableArrayRef CFArrayCreateMutable(const void* allocator, long capacity, const void* callbacks);

bool makesArray() {
  const CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
  return array != nullptr;
}
