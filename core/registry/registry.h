#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/stub/stub_config.h"
#include "platform/desktop/workspace.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// A proxy app that was built.
struct RegisteredApp {
  std::string bundleID;
  /// Its file's name without ".app".
  std::string name;
  /// Where it was last seen.
  std::string path;
  StubConfig config;
  /// When it was first registered.
  std::chrono::sys_seconds createdAt;
  /// The revision of the template that it was built from; nothing for one that does not say.
  std::optional<std::int64_t> stubRevision;
  /// By which it is found again; nothing when none could be made.
  std::optional<std::string> bookmark;
  /// The last rescan did not find it.
  bool isMissing = false;

  bool existsOnDisk() const;
  /// Whether what is at its path may be this app: something is there, and it does not say that it is another one.
  bool isInPlace() const { return isAt(path); }
  bool isAt(const std::filesystem::path& bundle) const;
  /// Its executable still bears an earlier name of the product, so that it cannot reach the helper.
  bool needsRebuildAfterRename() const;
  /// Why it should be built anew, for the user; empty when it need not be, or is not there.
  std::vector<std::string> rebuildReasons() const;
  bool needsRebuild() const { return !rebuildReasons().empty(); }

  /// Makes a new bookmark of what is at the path; without one the old stays.
  void refreshBookmark();

  bool operator==(const RegisteredApp&) const = default;
};

/// The proxy apps that were built, as "registry.json" lists them. One thread.
struct Registry {
  std::int64_t version = 1;
  /// In the order of their names after a rescan.
  std::vector<RegisteredApp> apps;

  /// An empty registry when the file is missing or broken; what is wrong with a broken one goes to `problem`.
  static Registry load(std::optional<std::string>* problem = nullptr);
  /// Throws std::filesystem::filesystem_error; the file is then as it was.
  void save() const;

  /// Lets `change` at the registry as it is in the file, and writes what comes of it; meanwhile no other process does
  /// the same. A missing file is an empty registry, and so is a broken one, which is kept under another name. Throws
  /// std::filesystem::filesystem_error, also when the file cannot be read, and what `change` throws; the file is then
  /// as it was.
  static Registry change(const std::function<void(Registry&)>& change);

  /// The text of a document, and back. `parse` throws DecodingError.
  static Registry parse(std::string_view text);
  std::string documentText() const;

  /// Replaces the app with that bundle identifier in its place, or appends this one.
  void upsert(RegisteredApp app);
  void remove(std::string_view bundleID);

  /// Brings the list in line with the disk: takes in the proxy apps of the search directories, follows those that were
  /// moved, marks those that are not found. Reads files; does not save. What cannot be read is passed over.
  void rescan(Workspace& workspace, const Clock& clock);

  /// The standard directories, then those that hold registered apps.
  std::vector<std::filesystem::path> searchDirectories() const;
  /// The user's and the system's folder of applications.
  static std::vector<std::filesystem::path> standardSearchDirectories();

  /// Where the app is now, by its bookmark or else by what the workspace knows; nothing when it is found nowhere, or
  /// when another app is where it was. Where
  /// a bookmark does not lead by itself, it is looked for in the standard directories, the home directory, and the
  /// folders in these.
  static std::optional<std::filesystem::path> resolve(const RegisteredApp& app, Workspace& workspace);

  bool operator==(const Registry&) const = default;
};

}  // namespace corvana

template <>
struct std::hash<corvana::RegisteredApp> {
  std::size_t operator()(const corvana::RegisteredApp& app) const noexcept;
};
