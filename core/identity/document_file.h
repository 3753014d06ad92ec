#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "core/identity/document_lock.h"
#include "platform/files/files.h"

namespace corvana {

/// One of the product's JSON documents on disk. Several processes read and write it, each as a whole; a process learns
/// from the modification date that another has written. What a missing or a broken document means is for the store that
/// owns this to say. One thread.
class DocumentFile {
 public:
  /// Called on every access.
  using Location = std::filesystem::path (*)();

  /// A hundred thousand rules take some thirty megabytes.
  static constexpr std::size_t maximumBytes = std::size_t{256} << 20;

  explicit DocumentFile(Location location) : location_(location) {}
  DocumentFile(const DocumentFile&) = delete;
  DocumentFile& operator=(const DocumentFile&) = delete;

  enum class State {
    /// There is no file, or its attributes cannot be read.
    missing,
    /// It still has the date that it was last read or written with.
    unchanged,
    changed
  };
  State state() const;

  /// What `parse` makes of its text, which counts as seen from now on even if this fails: the date is remembered first.
  /// Throws std::filesystem::filesystem_error and what `parse` throws.
  template <class Parse>
  auto read(const Parse& parse) {
    couldNotBeRead_ = true;
    auto result = parse(readText());
    couldNotBeRead_ = false;
    return result;
  }

  /// For whoever is going to write what depends on what was read.
  [[nodiscard]] DocumentLock lock(std::chrono::milliseconds patience = DocumentLock::usualPatience) const;

  /// Writes it whole, for the user alone, in the support directory, which is made when missing; the result does not
  /// count as changed. When the file could not be read last time, whatever was the reason, what it holds is kept under
  /// another name, which is logged. Throws std::filesystem::filesystem_error, and has then changed nothing.
  void write(std::string_view content);

  /// The same for who wants the content to be gone: nothing is kept, neither now nor of earlier times.
  void erase(std::string_view content);

  /// Whether a date is remembered, as of a file that was read or written.
  bool wasLoaded() const { return loadedModification_.has_value(); }
  void forget() { loadedModification_.reset(); }

 private:
  std::string readText();
  void replace(std::string_view content);

  Location location_;
  std::optional<files::ModificationDate> loadedModification_;
  bool couldNotBeRead_ = false;
};

}  // namespace corvana
