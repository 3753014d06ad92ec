#include "platform/files/trash_gio.h"

#include <stdexcept>

#include "platform/files/pointers_gio.h"

namespace corvana {

void TrashGIO::move(const std::filesystem::path& file) {
  const GObjectPointer<GFile> object(::g_file_new_for_path(file.c_str()));
  GError* error = nullptr;
  if (::g_file_trash(object.get(), nullptr, &error) != 0) return;
  const GErrorPointer owned(error);
  throw std::runtime_error(file.string() + ": " + (error == nullptr ? "cannot be moved to the trash" : error->message));
}

}  // namespace corvana
