#include "platform/linux/browser_installation.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/linux/known_browsers.h"
#include "platform/linux/xdg_directories.h"
#include "platform/user_directories.h"

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

template <class Number>
std::optional<Number> numberFrom(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The process that the lock of a user data directory names: a link to "<host name>-<pid>".
std::optional<pid_t> lockHolder(const fs::path& userDataDirectory) {
  std::error_code error;
  const std::string holder = fs::read_symlink(userDataDirectory / "SingletonLock", error).string();
  const std::size_t dash = holder.rfind('-');
  if (error || dash == std::string::npos) return std::nullopt;
  char host[HOST_NAME_MAX + 1] = {};
  if (::gethostname(host, HOST_NAME_MAX) != 0 || holder.substr(0, dash) != host) {
    return std::nullopt;  // a home directory that machines share: the browser runs on another one
  }
  return numberFrom<pid_t>(std::string_view(holder).substr(dash + 1));
}

/// Whether the process is a browser's and not one that got the number of a browser that crashed.
bool isBrowser(pid_t process) {
  std::error_code error;
  // Only this user's processes can be looked into, so another user's never counts.
  std::string program = fs::read_symlink("/proc/" + std::to_string(process) + "/exe", error).filename().string();
  constexpr std::string_view replaced = " (deleted)";  // the file was upgraded while the browser runs
  if (program.ends_with(replaced)) program.resize(program.size() - replaced.size());
  return !error && (program.starts_with("chrom") || program.starts_with("google-chrome"));
}

/// The number that a process of a sandbox with process numbers of its own has outside of it: the one whose innermost
/// number in "NSpid:" is the given one (proc(5)).
std::optional<pid_t> outsideNumber(pid_t innermost) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
    const auto process = numberFrom<pid_t>(entry.path().filename().string());
    if (!process || !isBrowser(*process)) continue;
    std::ifstream status(entry.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (!line.starts_with("NSpid:")) continue;
      std::istringstream numbers(line.substr(6));
      std::size_t count = 0;
      pid_t number = 0;
      for (pid_t next = 0; numbers >> next; ++count) number = next;
      if (count > 1 && number == innermost) return process;
    }
  }
  return std::nullopt;
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
  const std::optional<pid_t> holder = lockHolder(userDataDirectory);
  if (!holder || entry.flatpakID.empty()) return holder && isBrowser(*holder) ? holder : std::nullopt;
  return outsideNumber(*holder);
}

}  // namespace corvana
