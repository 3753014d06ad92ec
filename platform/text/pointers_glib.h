#pragma once

#include <glib.h>

#include <memory>

namespace corvana {

struct FreeGMemory {
  void operator()(void* memory) const { ::g_free(memory); }
};
struct FreeGError {
  void operator()(GError* error) const { ::g_error_free(error); }
};

/// What GLib hands over to its caller, owned. For sources only.
template <class T>
using GMemoryPointer = std::unique_ptr<T, FreeGMemory>;
using GErrorPointer = std::unique_ptr<GError, FreeGError>;

}  // namespace corvana
