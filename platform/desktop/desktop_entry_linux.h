#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// A desktop entry that cannot be used; what() names the file and what was expected in it.
class DesktopEntryError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One application's desktop entry, by the "Desktop Entry Specification" 1.5 (freedesktop.org).
struct DesktopEntry {
  std::filesystem::path file;
  /// In the user's language.
  std::string name;
  std::string icon;
  /// Taken apart by `commandLine`.
  std::string exec;
  /// A program without which the entry does not count; empty for none.
  std::string tryExec;
  /// Where the program is to run; empty when the entry does not say.
  std::filesystem::path workingDirectory;
  /// Deleted by the user, who thereby also hides entries of the same name in later directories.
  bool isHidden = false;
  /// Not for menus; the application may open things all the same.
  bool isWithoutDisplay = false;
  /// The program is one of the command line.
  bool runsInTerminal = false;
  /// As in the file: "Network;WebBrowser;".
  std::string categories;
  /// The Flatpak application or the snap that the entry starts; empty for ordinary programs.
  std::string flatpakID;
  std::string snapName;
  /// The key under which our entries have their bundle.
  static constexpr const char* bundleKey = "X-Corvana-Bundle";
  /// The bundle that the entry stands for, when it is one of ours; empty for others.
  std::filesystem::path bundle;

  /// Throws DesktopEntryError when the file cannot be read or is no application's entry.
  static DesktopEntry read(const std::filesystem::path& file);

  /// The entry of that name ("chromium.desktop") in the first data directory that has one ($XDG_DATA_HOME, then
  /// $XDG_DATA_DIRS), unless it is hidden, cannot be read or its program is not there.
  static std::optional<DesktopEntry> find(std::string_view desktopID);

  /// The program and its arguments, with `arguments` in the place that the entry keeps for files and URLs, at the end
  /// when it has none. Field codes are replaced in one pass; nothing in the arguments is a code. Throws
  /// DesktopEntryError when `exec` is not well formed.
  std::vector<std::string> commandLine(std::span<const std::string> arguments) const;
};

/// A program or an argument as one word of an Exec line.
std::string quotedForExec(const std::string& word);

/// The program in the search path, or at its own path when the name holds a slash; nothing when it cannot be executed.
std::optional<std::filesystem::path> findProgram(const std::string& name);

}  // namespace corvana
