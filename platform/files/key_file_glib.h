#pragma once

#include <glib.h>

#include <memory>
#include <string>

#include "platform/text/pointers_glib.h"

namespace corvana {

struct FreeKeyFile {
  void operator()(GKeyFile* file) const { ::g_key_file_unref(file); }
};

/// GLib's reader and writer of desktop entries, owned. For sources only.
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

/// The file's text.
inline std::string textOf(GKeyFile& keys) {
  gsize length = 0;
  const GMemoryPointer<char> text(::g_key_file_to_data(&keys, &length, nullptr));
  return {text.get(), length};
}

}  // namespace corvana
