#include "core/identity/document_file.h"

#include "core/identity/corvana.h"
#include "core/identity/log.h"

namespace corvana {

DocumentFile::State DocumentFile::state() const {
  const auto date = files::modificationDate(location_());
  if (!date) return State::missing;
  return date == loadedModification_ ? State::unchanged : State::changed;
}

std::string DocumentFile::readText() {
  const std::filesystem::path file = location_();
  loadedModification_ = files::modificationDate(file);
  files::DatedContent content = files::readDated(file, maximumBytes);
  loadedModification_ = content.date;  // another process may have replaced the file since
  return std::move(content.bytes);
}

DocumentLock DocumentFile::lock(std::chrono::milliseconds patience) const {
  return DocumentLock(location_(), patience);
}

void DocumentFile::write(std::string_view content) {
  Corvana::ensureSupportDirectory();
  const std::filesystem::path file = location_();
  if (couldNotBeRead_) {
    if (const auto copy = files::keepAside(file)) {
      Log::helper.error(file.filename().string(), " could not be read; what it held is kept in ", copy->string());
    }
  }
  replace(content);
}

void DocumentFile::erase(std::string_view content) {
  Corvana::ensureSupportDirectory();
  replace(content);
  files::removeKept(location_());
}

void DocumentFile::replace(std::string_view content) {
  loadedModification_ = files::replace(location_(), content);
  couldNotBeRead_ = false;
}

}  // namespace corvana
