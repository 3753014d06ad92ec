#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/desktop/desktop_entry_linux.h"

namespace corvana {

/// What the names of desktop entries end in.
constexpr std::string_view desktopEntrySuffix = ".desktop";

/// The name by which the desktop knows an entry: its path below the folder of entries, with dashes for the slashes.
/// Nothing for one that lies elsewhere, which the desktop does not know.
std::optional<std::string> desktopIDOf(const std::filesystem::path& entry);

/// The bundle identifier of the entry's application: that of the known browser or of our own bundle, else the entry's
/// name without its suffix.
std::string bundleIdentifierOf(const DesktopEntry& entry, std::string_view desktopID);

}  // namespace corvana
