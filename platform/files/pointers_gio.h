#pragma once

#include <gio/gio.h>

#include <memory>

#include "platform/text/pointers_glib.h"

namespace corvana {

struct Unreference {
  void operator()(void* object) const { ::g_object_unref(object); }
};

/// An object of GIO, owned. For sources only.
template <class T>
using GObjectPointer = std::unique_ptr<T, Unreference>;

}  // namespace corvana
