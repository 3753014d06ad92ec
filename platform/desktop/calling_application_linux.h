#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/opening_source.h"
#include "platform/files/files.h"

namespace corvana {

/// Which application a process speaks for that asks for something to be opened. What is not certain is unknown: a wrong
/// application would send links elsewhere. Main thread; reads files, among them those of the process, which therefore
/// must still be there: it is while it waits for its answer.
class CallingApplications {
 public:
  /// `ownID` is the desktop's name for this program's application, which asks itself for nothing.
  explicit CallingApplications(std::string ownID);

  /// The application of the process; for a program that only hands on what it is told (`xdg-open`, a shell, a second
  /// start of this one) that of whoever has started it, and so on.
  std::optional<OpeningSource> find(pid_t process);

  /// Whether the process is kept in a sandbox, so that nothing that it says of itself counts.
  static bool isSandboxed(pid_t process);

  /// An application by its bundle identifier, with its name where there is one.
  static OpeningSource named(std::string bundleIdentifier);

 private:
  /// A desktop entry that starts a program.
  struct Starter {
    std::string desktopID;
    /// What the entry gives the program besides what is to be opened.
    std::vector<std::string> arguments;
  };
  /// A program as it runs.
  struct Program {
    std::filesystem::path file;
    std::vector<std::string> arguments;
  };

  /// The application that the process itself is.
  std::optional<OpeningSource> applicationOf(pid_t process);
  std::optional<OpeningSource> browserOf(pid_t process) const;
  std::optional<OpeningSource> startedAs(const Program& program);
  std::optional<OpeningSource> byUnitOf(pid_t process) const;
  std::optional<OpeningSource> byEntry(const DesktopEntry& entry, std::string_view desktopID) const;
  void reloadIfChanged();
  void loadFrom(const std::filesystem::path& applications, std::vector<std::string>& seen);

  std::string ownID_;
  std::filesystem::path ownProgram_;
  /// By the program's real path.
  std::multimap<std::filesystem::path, Starter> starters_;
  /// The folders that the starters are from.
  std::map<std::filesystem::path, std::optional<files::ModificationDate>> folders_;
};

}  // namespace corvana
