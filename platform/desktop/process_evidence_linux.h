#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the files that the system keeps about a process say of the application that it belongs to. The texts are a
/// process's own, in part, and may hold anything. Any thread.
namespace corvana::processEvidence {

/// The unit in which the desktop has started an application.
struct Unit {
  /// The names that the application's desktop entry may have, without the suffix; one where launchers keep to the
  /// rules.
  std::vector<std::string> desktopIDs;
  /// The process that was started, where the unit's name says so.
  std::optional<pid_t> firstProcess;

  bool operator==(const Unit&) const = default;
};

/// From /proc/<pid>/cgroup (cgroups(7)): units are named app[-<launcher>]-<id>-<number>.scope or
/// app[-<launcher>]-<id>[@<instance>].service, with the dashes of their parts escaped ("Desktop Environment
/// Integration", systemd.io/DESKTOP_ENVIRONMENTS).
std::optional<Unit> unitIn(std::string_view cgroup);

/// The application's name in a Flatpak's /.flatpak-info (flatpak-metadata(5)).
std::optional<std::string> flatpakIDIn(std::string_view info);

/// The desktop entry that the process was started from, by its own environment: launchers based on GIO leave it there
/// with the number of the process that it is true of, and children inherit both.
std::optional<std::filesystem::path> launchedEntryIn(std::string_view environment, pid_t process);

/// From /proc/<pid>/stat (proc(5)), where the program's name may hold parentheses and spaces.
std::optional<pid_t> parentIn(std::string_view stat);

/// Texts that each end in a zero byte, as in /proc/<pid>/cmdline.
std::vector<std::string> textsIn(std::string_view list);

/// The interpreter in a script's first line; for "env" the program that it is to look for, as a bare name.
std::optional<std::string> interpreterIn(std::string_view script);

}  // namespace corvana::processEvidence
