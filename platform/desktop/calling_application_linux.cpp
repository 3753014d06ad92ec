#include "platform/desktop/calling_application_linux.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/desktop_id_linux.h"
#include "platform/desktop/known_browsers_linux.h"
#include "platform/desktop/process_evidence_linux.h"
#include "platform/files/xdg_directories_linux.h"
#include "platform/process/processes_linux.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

/// Programs that open things for those who start them, and the shells that they are written for.
constexpr std::array<std::string_view, 35> openers = {"gio",          "gio-launch-desktop",
                                                      "xdg-open",     "exo-open",
                                                      "exo-helper-2", "kde-open",
                                                      "kde-open5",    "kde-open6",
                                                      "kioclient",    "kioclient5",
                                                      "kioclient6",   "kfmclient",
                                                      "mate-open",    "gtk-launch",
                                                      "gapplication", "gdbus",
                                                      "busctl",       "dbus-send",
                                                      "corvana",      "sh",
                                                      "dash",         "bash",
                                                      "zsh",          "ksh",
                                                      "mksh",         "ksh93",
                                                      "fish",         "tcsh",
                                                      "csh",          "busybox",
                                                      "env",          "setsid",
                                                      "nohup",        "timeout",
                                                      "handlr"};

/// Applications in which people start others: what runs in their unit need not be theirs.
constexpr std::array<std::string_view, 3> starterCategories = {"TerminalEmulator", "FileManager", "IDE"};

/// More than anybody starts one from the other; a process that ends meanwhile must not make a circle.
constexpr int longestChain = 32;

/// A file of the process; empty when it has ended or keeps it from us.
std::string textOf(pid_t process, const char* file) {
  constexpr std::size_t maximumBytes = 4 << 20;  // arguments and environment: as long as the kernel lets them be
  try {
    return files::read("/proc/" + std::to_string(process) + "/" + file, maximumBytes);
  } catch (const fs::filesystem_error&) {
    return {};
  }
}

std::optional<std::string> flatpakOf(pid_t process) {
  return processEvidence::flatpakIDIn(textOf(process, "root/.flatpak-info"));
}

std::optional<DesktopEntry> entryNamed(std::string_view id) {
  return DesktopEntry::find(std::string(id).append(desktopEntrySuffix));
}

bool isStarterOfOthers(const DesktopEntry& entry) {
  return std::ranges::any_of(starterCategories, [&entry](std::string_view category) {
    return (";" + entry.categories + ";").find(";" + std::string(category) + ";") != std::string::npos;
  });
}

bool beginsWith(std::span<const std::string> all, std::span<const std::string> beginning) {
  return all.size() >= beginning.size() && std::ranges::equal(all.first(beginning.size()), beginning);
}

/// The file behind all links; nothing when there is none.
std::optional<fs::path> realPath(const fs::path& file) {
  std::error_code error;
  fs::path result = fs::canonical(file, error);
  return error ? std::nullopt : std::optional(std::move(result));
}

/// Whether the program is what runs the script.
bool isInterpreter(const fs::path& program, const fs::path& script) {
  constexpr std::size_t maximumBytes = 1 << 20;
  try {
    const auto interpreter = processEvidence::interpreterIn(files::read(script, maximumBytes));
    const auto file = interpreter ? findProgram(*interpreter) : std::nullopt;
    return file && realPath(*file) == program;
  } catch (const fs::filesystem_error&) {
    return false;
  }
}

}  // namespace

CallingApplications::CallingApplications(std::string ownID)
    : ownID_(std::move(ownID)), ownProgram_(processes::executable(::getpid()).value_or("")) {}

bool CallingApplications::isSandboxed(pid_t process) {
  return !textOf(process, "root/.flatpak-info").empty();
}

OpeningSource CallingApplications::named(std::string bundleIdentifier) {
  std::optional<DesktopEntry> entry;
  if (knownBrowser(bundleIdentifier) == nullptr) {
    entry = entryNamed(bundleIdentifier);
  } else if (auto browser = BrowserInstallation::find(bundleIdentifier)) {
    entry = std::move(browser->entry);
  }
  return {.bundleIdentifier = std::move(bundleIdentifier), .name = entry ? entry->name : ""};
}

std::optional<OpeningSource> CallingApplications::find(pid_t process) {
  pid_t link = process;
  for (int i = 0; i < longestChain && link > 1; ++i) {
    const auto program = processes::executable(link);
    if (!program) break;
    if (program != ownProgram_) {
      if (auto application = applicationOf(link)) return application;
      if (std::ranges::count(openers, program->filename().string()) == 0) break;
    }
    const auto parent = processEvidence::parentIn(textOf(link, "stat"));
    if (!parent) break;
    link = *parent;
  }
  return byUnitOf(process);
}

std::optional<OpeningSource> CallingApplications::applicationOf(pid_t process) {
  if (auto flatpak = flatpakOf(process)) {
    const auto entry = entryNamed(*flatpak);
    return entry ? byEntry(*entry, *flatpak) : OpeningSource{.bundleIdentifier = std::move(*flatpak), .name = ""};
  }
  if (const auto file = processEvidence::launchedEntryIn(textOf(process, "environ"), process)) {
    try {
      return byEntry(DesktopEntry::read(*file), desktopIDOf(*file).value_or(file->filename().string()));
    } catch (const DesktopEntryError&) {
      // Gone, or never there.
    }
  }
  const auto unit = processEvidence::unitIn(textOf(process, "cgroup"));
  if (unit && unit->firstProcess == process) return byUnitOf(process);
  if (auto browser = browserOf(process)) return browser;

  const auto file = processes::executable(process);
  if (!file) return std::nullopt;
  if (const auto bundle = ApplicationBundle::of(*file)) return OpeningSource{bundle->identifier, bundle->path.stem()};
  std::vector<std::string> arguments = processEvidence::textsIn(textOf(process, "cmdline"));
  if (!arguments.empty()) arguments.erase(arguments.begin());
  reloadIfChanged();
  if (auto application = startedAs({*file, arguments})) return application;
  // A script's process is its interpreter's, with the script as the first argument, or after one of the first line's.
  for (std::size_t i = 0; i < std::min<std::size_t>(arguments.size(), 2); ++i) {
    const auto script = arguments[i].starts_with('/') ? realPath(arguments[i]) : std::nullopt;
    if (!script || !isInterpreter(*file, *script)) continue;
    return startedAs({*script, {arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end()}});
  }
  return std::nullopt;
}

std::optional<OpeningSource> CallingApplications::browserOf(pid_t process) const {
  for (const KnownBrowser& browser : knownBrowsers()) {
    if (browser.configDirectory.empty()) continue;
    const auto installation = BrowserInstallation::find(browser.bundleIdentifier);
    if (!installation || installation->mainProcess() != process) continue;
    const fs::path& file = installation->entry.file;
    return byEntry(installation->entry, desktopIDOf(file).value_or(file.filename().string()));
  }
  return std::nullopt;
}

std::optional<OpeningSource> CallingApplications::startedAs(const Program& program) {
  // The entry that says most about how the program was started, if there is just one.
  const Starter* best = nullptr;
  bool isAmbiguous = false;
  const auto [begin, end] = starters_.equal_range(program.file);
  for (auto found = begin; found != end; ++found) {
    const Starter& starter = found->second;
    if (!beginsWith(program.arguments, starter.arguments)) continue;
    if (best != nullptr && starter.arguments.size() < best->arguments.size()) continue;
    isAmbiguous = best != nullptr && starter.arguments.size() == best->arguments.size();
    best = &starter;
  }
  if (best == nullptr || isAmbiguous) return std::nullopt;
  const auto entry = DesktopEntry::find(best->desktopID);
  return entry ? byEntry(*entry, best->desktopID) : std::nullopt;
}

std::optional<OpeningSource> CallingApplications::byUnitOf(pid_t process) const {
  const auto unit = processEvidence::unitIn(textOf(process, "cgroup"));
  if (!unit) return std::nullopt;
  std::optional<DesktopEntry> found;
  std::string foundID;
  for (const std::string& id : unit->desktopIDs) {
    auto entry = entryNamed(id);
    if (!entry) continue;
    if (found) return std::nullopt;
    found = std::move(entry);
    foundID = id;
  }
  if (!found || (unit->firstProcess != process && isStarterOfOthers(*found))) return std::nullopt;
  return byEntry(*found, foundID);
}

std::optional<OpeningSource> CallingApplications::byEntry(const DesktopEntry& entry, std::string_view desktopID) const {
  std::string identifier = bundleIdentifierOf(entry, desktopID);
  if (identifier == ownID_) return std::nullopt;
  return OpeningSource{.bundleIdentifier = std::move(identifier), .name = entry.name};
}

void CallingApplications::reloadIfChanged() {
  const auto isSame = [](const auto& folder) { return files::modificationDate(folder.first) == folder.second; };
  if (!folders_.empty() && std::ranges::all_of(folders_, isSame)) return;
  folders_.clear();
  starters_.clear();
  std::vector<std::string> seen;
  for (const fs::path& directory : xdg::dataDirectories()) loadFrom(directory / "applications", seen);
}

void CallingApplications::loadFrom(const fs::path& applications, std::vector<std::string>& seen) {
  folders_.emplace(applications, files::modificationDate(applications));
  std::error_code error;
  for (fs::recursive_directory_iterator file(applications, error), end; !error && file != end; file.increment(error)) {
    if (file->is_directory(error)) folders_.emplace(file->path(), files::modificationDate(file->path()));
    if (file->path().extension() != desktopEntrySuffix) continue;
    const std::string id = desktopIDOf(file->path()).value_or("");
    if (std::ranges::count(seen, id) > 0) continue;  // the one in an earlier directory counts
    seen.push_back(id);
    try {
      const DesktopEntry entry = DesktopEntry::read(file->path());
      if (entry.isHidden || entry.isWithoutDisplay || entry.runsInTerminal) continue;
      std::vector<std::string> command = entry.commandLine({});
      const auto program = findProgram(command.front());
      const auto real = program ? realPath(*program) : std::nullopt;
      command.erase(command.begin());
      if (real) starters_.emplace(*real, Starter{id, std::move(command)});
    } catch (const DesktopEntryError&) {
      // It starts nothing.
    }
  }
}

}  // namespace corvana
