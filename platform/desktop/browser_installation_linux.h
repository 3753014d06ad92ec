#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/desktop/desktop_entry_linux.h"

namespace corvana {

/// How far a browser is with taking arguments from further starts of its program.
enum class BrowserState {
  absent,
  /// It is starting.
  busy,
  accepting,
};

/// One installed browser: its desktop entry and, for Chrome and its relatives, where it keeps its data.
struct BrowserInstallation {
  DesktopEntry entry;
  /// The user data directory; empty where the browser has none that the product looks into.
  std::filesystem::path userDataDirectory;

  /// The installation to use for that browser: the first of its desktop entries that is there, then its stand-in's.
  static std::optional<BrowserInstallation> find(std::string_view bundleIdentifier);

  /// The installation that the desktop entry belongs to, if it is a known browser's.
  static std::optional<BrowserInstallation> at(const std::filesystem::path& desktopEntry);

  /// The main process of this user's instance that uses the user data directory, however it was started.
  std::optional<pid_t> mainProcess() const;

  /// Tried at the socket that Chrome keeps for further starts. That of a Flatpak or a snap is out of reach: it counts
  /// as accepting once its main process is there.
  BrowserState state() const;
};

}  // namespace corvana
