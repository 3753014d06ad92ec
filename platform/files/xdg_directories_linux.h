#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The base directories of freedesktop.org's "XDG Base Directory Specification" 0.8. Looked up on every call.
namespace corvana::xdg {

/// $XDG_CONFIG_HOME, else ~/.config.
std::filesystem::path configHome();

/// $XDG_DATA_HOME, else ~/.local/share.
std::filesystem::path dataHome();

/// Where data files are looked for, most important first: `dataHome`, then $XDG_DATA_DIRS,
/// else /usr/local/share and /usr/share. Relative entries do not count.
std::vector<std::filesystem::path> dataDirectories();

/// Writes a file below one of these, with the folders above it, as a whole: a half-written entry would have forgotten
/// what the user has chosen in it. Throws std::filesystem::filesystem_error.
void write(const std::filesystem::path& file, const std::string& content);

}  // namespace corvana::xdg
