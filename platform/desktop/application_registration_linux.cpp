#include "platform/desktop/application_registration_linux.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/application_handlers_gio.h"
#include "platform/desktop/application_id_linux.h"
#include "platform/desktop/desktop_entry_linux.h"
#include "platform/desktop/menu_actions_linux.h"
#include "platform/files/files.h"
#include "platform/files/key_file_glib.h"
#include "platform/files/property_list.h"
#include "platform/files/xdg_directories_linux.h"
#include "platform/text/ascii.h"

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
  set(G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS, applicationID(bundle.identifier));  // docks: whose a window is
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

/// A link to the program, by which those call it who read no quotes in an entry's Exec, as xdg-open does: the bundle's
/// path has a space in it.
fs::path forwarderFor(std::string_view bundleIdentifier) {
  return xdg::dataHome() / applicationID(bundleIdentifier) / "open-link";
}

bool hasPlainPath(const fs::path& program) {
  return std::ranges::all_of(program.string(), [](char c) {
    return ascii::isAlphanumeric(c) || std::string_view("/._-+@:,").find(c) != std::string_view::npos;
  });
}

std::string browserEntryContent(const ApplicationBundle& bundle, const std::string& description) {
  const PropertyDictionary plist = PropertyList::read(bundle.path / "Contents/Info.plist");
  const KeyFile keys(::g_key_file_new());
  const auto set = [&](const char* key, const std::string& value) {
    ::g_key_file_set_string(keys.get(), G_KEY_FILE_DESKTOP_GROUP, key, value.c_str());
  };
  const fs::path forwarder = forwarderFor(bundle.identifier);
  const std::string program = hasPlainPath(forwarder) ? forwarder.string() : quotedForExec(forwarder.string());
  const std::string name = textIn(plist, "CFBundleDisplayName");
  set(G_KEY_FILE_DESKTOP_KEY_TYPE, G_KEY_FILE_DESKTOP_TYPE_APPLICATION);
  set(G_KEY_FILE_DESKTOP_KEY_NAME, name.empty() ? bundle.path.stem().string() : name);
  set(G_KEY_FILE_DESKTOP_KEY_COMMENT, description);
  set(G_KEY_FILE_DESKTOP_KEY_ICON, iconOf(bundle.path, plist));
  set(G_KEY_FILE_DESKTOP_KEY_CATEGORIES, "Network;WebBrowser;");
  set(G_KEY_FILE_DESKTOP_KEY_MIME_TYPE,
      "x-scheme-handler/http;x-scheme-handler/https;text/html;application/xhtml+xml;image/svg+xml;"
      "application/x-webarchive;");
  set(G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY, "true");
  set(G_KEY_FILE_DESKTOP_KEY_EXEC, program + " --forward %U");
  set(G_KEY_FILE_DESKTOP_KEY_TRY_EXEC, bundle.executable.string());
  set(G_KEY_FILE_DESKTOP_KEY_DBUS_ACTIVATABLE, "true");
  set(G_KEY_FILE_DESKTOP_KEY_STARTUP_NOTIFY, "true");
  set(DesktopEntry::bundleKey, bundle.path.string());
  return textOf(*keys);
}

/// Puts a link to the program in the place of what is there.
void linkTo(const fs::path& program, const fs::path& link) {
  std::error_code error;
  if (fs::read_symlink(link, error) == program && !error) return;
  fs::create_directories(link.parent_path());
  fs::path fresh = link;
  fresh += ".new";
  fs::remove(fresh);
  fs::create_symlink(program, fresh);
  fs::rename(fresh, link);
}

/// Whether the file had to be written.
bool update(const fs::path& file, const std::string& content) {
  try {
    if (files::read(file, content.size()) == content) return false;
  } catch (const fs::filesystem_error&) {
    // It is not there, or is longer.
  }
  xdg::write(file, content);
  return true;
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

void ApplicationRegistrationLinux::addBrowser(const fs::path& bundle, const std::string& description) {
  const auto application = ApplicationBundle::read(fs::absolute(bundle));
  if (!application) throw std::runtime_error(bundle.string() + " is no application that could be registered");
  const std::string& identifier = application->identifier;
  // Each needs what comes before it: a link to a name on the bus that cannot be started is lost without a word.
  linkTo(application->executable, forwarderFor(identifier));
  if (update(serviceFor(identifier), serviceContent(*application))) tellBus();
  if (!files::exists(entryFor(identifier))) keepDefaultBrowser();
  (void)update(entryFor(identifier), browserEntryContent(*application, description));
}

void ApplicationRegistrationLinux::remove(std::string_view bundleIdentifier) {
  std::error_code ignored;
  fs::remove(forwarderFor(bundleIdentifier));
  fs::remove(forwarderFor(bundleIdentifier).parent_path(), ignored);  // unless others keep something there
  const bool hadEntry = fs::remove(entryFor(bundleIdentifier));
  const bool hadService = fs::remove(serviceFor(bundleIdentifier));
  if (hadEntry || hadService) tellBus();
}

}  // namespace corvana
