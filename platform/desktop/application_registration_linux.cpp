#include "platform/desktop/application_registration_linux.h"

#include <systemd/sd-bus.h>

#include <stdexcept>
#include <string>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/menu_actions_linux.h"
#include "platform/files/key_file_glib.h"
#include "platform/files/property_list.h"
#include "platform/files/xdg_directories_linux.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

fs::path entryFor(std::string_view bundleIdentifier) {
  return xdg::dataHome() / "applications" / (applicationID(bundleIdentifier) + ".desktop");
}

fs::path serviceFor(std::string_view bundleIdentifier) {
  return xdg::dataHome() / "dbus-1/services" / (applicationID(bundleIdentifier) + ".service");
}

std::string textIn(const PropertyDictionary& plist, std::string_view key) {
  const auto* text = find<std::string>(plist, key);
  return text == nullptr ? std::string() : *text;
}

/// The bundle's icon, or that of any program.
std::string iconOf(const fs::path& bundle, const PropertyDictionary& plist) {
  const fs::path icon = bundle / "Contents/Resources" / (textIn(plist, "CFBundleIconFile") + ".svg");
  std::error_code ignored;
  return fs::exists(icon, ignored) ? icon.string() : "application-x-executable";
}

/// As one word of a command line that is taken apart as a shell does, which is how the bus takes it apart.
std::string quotedForShell(const std::string& word) {
  const GMemoryPointer<char> quoted(::g_shell_quote(word.c_str()));
  return quoted.get();
}

std::string entryContent(const ApplicationBundle& bundle, const std::string& description,
                         const std::vector<MenuItem>& menu) {
  const PropertyDictionary plist = PropertyList::read(bundle.path / "Contents/Info.plist");
  const KeyFile keys(::g_key_file_new());
  const char* group = G_KEY_FILE_DESKTOP_GROUP;
  const auto set = [&](const char* key, const std::string& value) {
    ::g_key_file_set_string(keys.get(), group, key, value.c_str());
  };
  const std::string program = quotedForExec(bundle.executable.string());
  const std::string name = textIn(plist, "CFBundleDisplayName");
  set(G_KEY_FILE_DESKTOP_KEY_TYPE, G_KEY_FILE_DESKTOP_TYPE_APPLICATION);
  set(G_KEY_FILE_DESKTOP_KEY_NAME, name.empty() ? bundle.path.stem().string() : name);
  set(G_KEY_FILE_DESKTOP_KEY_COMMENT, description);
  set(G_KEY_FILE_DESKTOP_KEY_ICON, iconOf(bundle.path, plist));
  set(G_KEY_FILE_DESKTOP_KEY_CATEGORIES, "Network;WebBrowser;");
  set(G_KEY_FILE_DESKTOP_KEY_EXEC, program + " %U");
  set(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC, bundle.executable.string());  // an entry whose bundle is gone does not count
  set(G_KEY_FILE_DESKTOP_KEY_DBUS_ACTIVATABLE, "true");
  set(G_KEY_FILE_DESKTOP_KEY_STARTUP_NOTIFY, "true");  // else launchers hand over no activation token
  set(DesktopEntry::bundleKey, bundle.path.string());

  std::string actions;
  for (const MenuItem& item : menu) {
    const auto action = item.action ? actionName(*item.action) : std::nullopt;
    if (!action) continue;
    actions += *action + ";";
    const std::string actionGroup = "Desktop Action " + *action;
    ::g_key_file_set_string(keys.get(), actionGroup.c_str(), G_KEY_FILE_DESKTOP_KEY_NAME, item.title.c_str());
    ::g_key_file_set_string(keys.get(), actionGroup.c_str(), G_KEY_FILE_DESKTOP_KEY_EXEC,
                            (program + " --action=" + *action).c_str());
  }
  set("Actions", actions);
  return textOf(*keys);
}

std::string serviceContent(const ApplicationBundle& bundle) {
  const KeyFile keys(::g_key_file_new());
  const char* group = "D-BUS Service";
  ::g_key_file_set_string(keys.get(), group, "Name", applicationID(bundle.identifier).c_str());
  ::g_key_file_set_string(keys.get(), group, "Exec",
                          (quotedForShell(bundle.executable.string()) + " --told-by-bus").c_str());
  return textOf(*keys);
}

/// The bus watches only folders that were there when it started. Where there is none, there is nobody to tell.
void tellBus() {
  sd_bus* bus = nullptr;
  if (::sd_bus_open_user(&bus) < 0) return;
  (void)::sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "ReloadConfig", nullptr, nullptr, nullptr);
  ::sd_bus_flush_close_unref(bus);
}

}  // namespace

void ApplicationRegistrationLinux::add(const fs::path& bundle, const std::string& description,
                                       const std::vector<MenuItem>& menu) {
  const auto application = ApplicationBundle::read(fs::absolute(bundle));
  if (!application) throw std::runtime_error(bundle.string() + " is no application that could be registered");
  xdg::write(serviceFor(application->identifier), serviceContent(*application));
  xdg::write(entryFor(application->identifier), entryContent(*application, description, menu));
  tellBus();
}

void ApplicationRegistrationLinux::remove(std::string_view bundleIdentifier) {
  const bool hadEntry = fs::remove(entryFor(bundleIdentifier));
  const bool hadService = fs::remove(serviceFor(bundleIdentifier));
  if (hadEntry || hadService) tellBus();
}

}  // namespace corvana
