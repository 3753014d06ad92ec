#pragma once

#include <glib.h>

#include <memory>

namespace corvana {

struct FreeKeyFile {
  void operator()(GKeyFile* file) const { ::g_key_file_unref(file); }
};

/// GLib's reader and writer of desktop entries, owned. For sources only.
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

}  // namespace corvana
