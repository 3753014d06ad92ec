#include "platform/desktop/desktop_id_linux.h"

#include <algorithm>

#include "platform/desktop/application_bundle_linux.h"
#include "platform/desktop/known_browsers_linux.h"
#include "platform/files/xdg_directories_linux.h"

namespace corvana {

std::optional<std::string> desktopIDOf(const std::filesystem::path& entry) {
  for (const std::filesystem::path& directory : xdg::dataDirectories()) {
    const std::filesystem::path relative = entry.lexically_relative(directory / "applications");
    if (relative.empty() || *relative.begin() == "..") continue;
    std::string id = relative.string();
    std::ranges::replace(id, '/', '-');
    return id;
  }
  return std::nullopt;
}

std::string bundleIdentifierOf(const DesktopEntry& entry, std::string_view desktopID) {
  for (const KnownBrowser& browser : knownBrowsers()) {
    if (std::ranges::count(browser.desktopIDs, desktopID) > 0) return std::string(browser.bundleIdentifier);
  }
  if (const auto bundle = ApplicationBundle::read(entry.bundle)) return bundle->identifier;
  if (desktopID.ends_with(desktopEntrySuffix)) desktopID.remove_suffix(desktopEntrySuffix.size());
  return std::string(desktopID);
}

}  // namespace corvana
