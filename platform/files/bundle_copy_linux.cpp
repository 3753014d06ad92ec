#include "platform/files/bundle_copy.h"
#include "platform/text/uuid.h"

namespace corvana {

void copyBundle(const std::filesystem::path& source, const std::filesystem::path& destination) {
  // Made beside its place and moved there, so that nobody starts half a bundle.
  const std::filesystem::path fresh = destination.parent_path() / (".corvana-" + randomUUID());
  try {
    std::filesystem::copy(source, fresh,
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
    std::filesystem::rename(fresh, destination);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove_all(fresh, ignored);
    throw;
  }
}

void clearQuarantine(const std::filesystem::path&) {
  // Linux puts no such marks on files, and a copy carries no extended attributes over.
}

}  // namespace corvana
