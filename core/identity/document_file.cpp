#include "core/identity/document_file.h"

#include "core/identity/corvana.h"

namespace corvana {

DocumentFile::State DocumentFile::state() const {
  const auto date = files::modificationDate(location_());
  if (!date) return State::missing;
  return date == loadedModification_ ? State::unchanged : State::changed;
}

std::string DocumentFile::read() {
  const std::filesystem::path file = location_();
  loadedModification_ = files::modificationDate(file);
  files::DatedContent content = files::readDated(file, maximumBytes);
  loadedModification_ = content.date;  // another process may have replaced the file since
  return std::move(content.bytes);
}

void DocumentFile::write(std::string_view content) {
  Corvana::ensureSupportDirectory();
  loadedModification_ = files::replace(location_(), content);
}

}  // namespace corvana
