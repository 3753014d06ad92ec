#include "platform/desktop/login_items_linux.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/files/key_file_glib.h"
#include "platform/files/xdg_directories_linux.h"
#include "platform/process/systemd_user_linux.h"
#include "platform/process/tools.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;
constexpr const char* gnomeSwitch = "X-GNOME-Autostart-enabled";

fs::path entryFor(std::string_view identifier) {
  return xdg::configHome() / "autostart" / std::string(identifier).append(".desktop");
}

fs::path unitFor(std::string_view identifier) {
  return xdg::configHome() / "systemd/user" / std::string(identifier).append(".service");
}

/// Being in this folder is what makes a unit start with the graphical session.
fs::path wantFor(std::string_view identifier) {
  const fs::path unit = unitFor(identifier);
  return unit.parent_path() / "graphical-session.target.wants" / unit.filename();
}

/// In quotes, with what has a meaning to systemd escaped (systemd.service(5), systemd.unit(5)). Variables are replaced
/// in arguments, but not in the program's own path.
std::string quotedForUnit(const fs::path& word, bool isArgument) {
  std::string result = "\"";
  for (const char c : word.string()) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '%' || (isArgument && c == '$')) result += c;
    result += c;
  }
  return result + "\"";
}

std::string unitContent(const fs::path& program, const fs::path& entry) {
  return "[Unit]\nDescription=Corvana Helper\nPartOf=graphical-session.target\nAfter=graphical-session.target\n\n"
         "[Service]\n"
         // Desktops know the autostart entry only: who switches that off has switched off the unit.
         "ExecCondition=/bin/sh -c '! grep -Eqx \"Hidden=true|X-GNOME-Autostart-enabled=false\" \"$$1\"' sh " +
         quotedForUnit(entry, true) + "\nExecStart=" + quotedForUnit(program, false) +
         // An installation that replaces the helper ends it the hard way, and does not want it back meanwhile.
         "\nRestart=on-failure\nRestartPreventExitStatus=SIGKILL\nSlice=app.slice\n\n"
         "[Install]\nWantedBy=graphical-session.target\n";
}

void reloadUnits() {
  try {
    (void)runTool("/usr/bin/systemctl", {"--user", "daemon-reload"});
  } catch (const ToolError&) {
    // It looks by itself at the next login.
  }
}

}  // namespace

LoginItems::Status LoginItemsLinux::status(std::string_view bundleIdentifier) {
  const KeyFile keys(::g_key_file_new());
  if (!::g_key_file_load_from_file(keys.get(), entryFor(bundleIdentifier).c_str(), G_KEY_FILE_NONE, nullptr)) {
    return Status::notRegistered;
  }
  // The two ways in which desktops switch an entry off.
  const bool isHidden = ::g_key_file_get_boolean(keys.get(), group, G_KEY_FILE_DESKTOP_KEY_HIDDEN, nullptr) != 0;
  const bool isOff = ::g_key_file_has_key(keys.get(), group, gnomeSwitch, nullptr) != 0 &&
                     ::g_key_file_get_boolean(keys.get(), group, gnomeSwitch, nullptr) == 0;
  return isHidden || isOff ? Status::requiresApproval : Status::enabled;
}

void LoginItemsLinux::add(std::string_view bundleIdentifier) {
  if (status(bundleIdentifier) == Status::requiresApproval) return;
  const auto bundle = ApplicationBundle::read(bundle_);
  if (!bundle) throw std::runtime_error(bundle_.string() + " is no application that could be started at login");

  const bool hasUnit = systemdUser::isRunning();
  const KeyFile keys(::g_key_file_new());
  const auto set = [&keys](const char* key, const std::string& value) {
    ::g_key_file_set_string(keys.get(), group, key, value.c_str());
  };
  set(G_KEY_FILE_DESKTOP_KEY_TYPE, G_KEY_FILE_DESKTOP_TYPE_APPLICATION);
  set(G_KEY_FILE_DESKTOP_KEY_NAME, "Corvana Helper");
  set(G_KEY_FILE_DESKTOP_KEY_EXEC, quotedForExec(bundle->executable.string()));
  set(G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY, "true");
  if (hasUnit) set("X-systemd-skip", "true");  // else systemd would make a second unit of this entry
  xdg::write(entryFor(bundleIdentifier), textOf(*keys));
  if (!hasUnit) return;

  xdg::write(unitFor(bundleIdentifier), unitContent(bundle->executable, entryFor(bundleIdentifier)));
  const fs::path want = wantFor(bundleIdentifier);
  fs::create_directories(want.parent_path());
  fs::remove(want);
  fs::create_symlink(unitFor(bundleIdentifier), want);
  reloadUnits();
}

void LoginItemsLinux::remove(std::string_view bundleIdentifier) {
  fs::remove(entryFor(bundleIdentifier));
  fs::remove(wantFor(bundleIdentifier));
  if (fs::remove(unitFor(bundleIdentifier)) && systemdUser::isRunning()) reloadUnits();
}

}  // namespace corvana
