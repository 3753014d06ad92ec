#pragma once

#include <gio/gio.h>

#include <memory>

namespace corvana {

struct Unreference {
  void operator()(void* object) const { ::g_object_unref(object); }
};
struct FreeGError {
  void operator()(GError* error) const { ::g_error_free(error); }
};

/// GObjects and errors of GLib, owned. For sources only.
template <class T>
using GObjectPointer = std::unique_ptr<T, Unreference>;
using GErrorPointer = std::unique_ptr<GError, FreeGError>;

}  // namespace corvana
