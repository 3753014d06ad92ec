#include "platform/desktop/browser_installation_linux.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/desktop/known_browsers_linux.h"
#include "platform/files/user_directories.h"
#include "platform/files/xdg_directories_linux.h"
#include "platform/process/processes_linux.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

/// By Chromium's own rules: the option --user-data-dir, then $CHROME_USER_DATA_DIR, then the folder below
/// $CHROME_CONFIG_HOME or the configuration directory; sandboxed packages have a configuration directory of their own.
fs::path userDataDirectoryOf(const DesktopEntry& entry, const KnownBrowser& browser) {
  constexpr std::string_view option = "--user-data-dir=";
  for (const std::string& word : entry.commandLine({})) {
    if (word.starts_with(option)) return word.substr(option.size());
  }
  if (browser.configDirectory.empty()) return {};
  if (!entry.flatpakID.empty()) {
    return userDirectories::home() / ".var/app" / entry.flatpakID / "config" / browser.configDirectory;
  }
  if (!entry.snapName.empty()) {
    return userDirectories::home() / "snap" / entry.snapName / "common" / browser.configDirectory;
  }
  if (const char* directory = std::getenv("CHROME_USER_DATA_DIR"); directory != nullptr && directory[0] != '\0') {
    return directory;
  }
  const char* configHome = std::getenv("CHROME_CONFIG_HOME");
  const bool hasOwnHome = configHome != nullptr && configHome[0] != '\0';
  return (hasOwnHome ? fs::path(configHome) : xdg::configHome()) / browser.configDirectory;
}

BrowserInstallation installation(DesktopEntry entry, const KnownBrowser& browser) {
  fs::path userData = userDataDirectoryOf(entry, browser);
  return {.entry = std::move(entry), .userDataDirectory = std::move(userData)};
}

/// The process that the lock of a user data directory names: a link to "<host name>-<pid>".
std::optional<pid_t> lockHolder(const fs::path& userDataDirectory) {
  std::error_code error;
  const std::string holder = fs::read_symlink(userDataDirectory / "SingletonLock", error).string();
  const std::size_t dash = holder.rfind('-');
  if (error || dash == std::string::npos) return std::nullopt;
  char host[HOST_NAME_MAX + 1] = {};
  if (::gethostname(host, sizeof host) != 0 || holder.substr(0, dash) != host) {
    return std::nullopt;  // a home directory that machines share: the browser runs on another one
  }
  return processes::numberFrom<pid_t>(std::string_view(holder).substr(dash + 1));
}

/// Whether the process is a browser's main one: no helper of it, and none that got the number of one that crashed.
bool isBrowser(pid_t process) {
  constexpr std::array<std::string_view, 3> names = {"chrome", "chromium", "chromium-browser"};
  const auto program = processes::executable(process);
  if (!program || std::ranges::count(names, program->filename().string()) == 0) return false;
  std::ifstream file("/proc/" + std::to_string(process) + "/cmdline");
  const std::string commandLine{std::istreambuf_iterator<char>(file), {}};
  return commandLine.find("--type=") == std::string::npos;
}

/// A Flatpak's processes have numbers of their own in its locks, so that they are found by what they run in.
std::optional<pid_t> flatpakProcess(const std::string& flatpakID) {
  std::optional<pid_t> found;
  processes::forEach([&](pid_t process) {
    if (!isBrowser(process)) return true;
    std::ifstream info("/proc/" + std::to_string(process) + "/root/.flatpak-info");
    for (std::string line; std::getline(info, line);) {
      if (line == "name=" + flatpakID) found = process;
    }
    return !found;
  });
  return found;
}

/// Whether somebody listens at the socket. Looked up in the kernel's list, not tried: each trial would take one of the
/// five places of Chrome's queue for a while, and those who have something to hand over would fail.
bool isListenedAt(const fs::path& socket) {
  std::error_code error;
  const std::string path = fs::read_symlink(socket, error).string();
  if (error || path.empty()) return false;
  constexpr std::string_view acceptsConnections = "00010000";  // __SO_ACCEPTCON, the flag of listening sockets
  std::ifstream list("/proc/net/unix");
  for (std::string line; std::getline(list, line);) {
    if (!line.ends_with(" " + path)) continue;
    std::istringstream fields(line);
    std::string flags;
    for (int field = 0; field < 4; ++field) fields >> flags;  // number, references, protocol, flags
    if (flags == acceptsConnections) return true;
  }
  return false;
}

}  // namespace

std::optional<BrowserInstallation> BrowserInstallation::find(std::string_view bundleIdentifier) {
  const KnownBrowser* browser = knownBrowser(bundleIdentifier);
  while (browser != nullptr) {
    for (const std::string_view desktopID : browser->desktopIDs) {
      if (desktopID.empty()) break;
      if (auto entry = DesktopEntry::find(desktopID)) {
        return installation(std::move(*entry), *browser);
      }
    }
    browser = knownBrowser(browser->standIn);
  }
  return std::nullopt;
}

std::optional<BrowserInstallation> BrowserInstallation::at(const fs::path& desktopEntry) {
  const std::string desktopID = desktopEntry.filename().string();
  for (const KnownBrowser& browser : knownBrowsers()) {
    if (std::ranges::count(browser.desktopIDs, desktopID) == 0) continue;
    try {
      return installation(DesktopEntry::read(desktopEntry), browser);
    } catch (const DesktopEntryError&) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<pid_t> BrowserInstallation::mainProcess() const {
  if (userDataDirectory.empty()) return std::nullopt;
  if (!entry.flatpakID.empty()) return flatpakProcess(entry.flatpakID);
  const std::optional<pid_t> holder = lockHolder(userDataDirectory);
  return holder && isBrowser(*holder) ? holder : std::nullopt;
}

BrowserState BrowserInstallation::state() const {
  if (!mainProcess()) return BrowserState::absent;
  const bool isSandboxed = !entry.flatpakID.empty() || !entry.snapName.empty();
  return isSandboxed || isListenedAt(userDataDirectory / "SingletonSocket") ? BrowserState::accepting
                                                                            : BrowserState::busy;
}

}  // namespace corvana
