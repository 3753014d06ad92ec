#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/identity/corvana.h"
#include "core/identity/document_file.h"

namespace corvana {

/// The product's few global preferences.
struct AppSettings {
  std::int64_t version = 1;
  /// Proxy apps that were built from an older template say so.
  bool notifiesWhenProxyAppsAreOutdated = true;
  /// Proxy apps do without the background helper and watch their windows themselves.
  bool disablesHelper = false;

  /// From the text of a document. Throws DecodingError.
  static AppSettings parse(std::string_view text);
  std::string documentText() const;

  bool operator==(const AppSettings&) const = default;
};

/// The settings in memory and in "settings.json", which other processes write as well. One instance per process, used
/// on its main thread.
class SettingsStore {
 public:
  SettingsStore() { reloadIfChanged(); }

  /// What save writes.
  AppSettings settings;

  /// Takes the file's values if it changed since it was last read or written. Without a file the values stay; from a
  /// broken one, which is logged once, come the defaults.
  void reloadIfChanged();

  /// Throws std::filesystem::filesystem_error; the values in memory stay as they are.
  void save();

  /// Changes the values as they are in the file now, and saves them; meanwhile no other process does the same. Throws
  /// what `change` throws, which then has changed nothing, and as save does.
  void change(const std::function<void(AppSettings&)>& change);

  /// What is wrong with the file, if it was broken when it was last read.
  const std::optional<std::string>& problem() const { return problem_; }

 private:
  void write();

  DocumentFile file_{&Corvana::settingsURL};
  std::optional<std::string> problem_;
};

}  // namespace corvana
