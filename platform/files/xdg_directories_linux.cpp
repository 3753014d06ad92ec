#include "platform/files/xdg_directories_linux.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/files/files.h"
#include "platform/files/user_directories.h"

namespace corvana::xdg {
namespace {

/// An absolute path from the environment, else the path below the home directory.
std::filesystem::path baseDirectory(const char* variable, const char* belowHome) {
  const char* value = std::getenv(variable);
  if (value != nullptr && value[0] == '/') return value;
  return userDirectories::home() / belowHome;
}

}  // namespace

std::filesystem::path configHome() {
  return baseDirectory("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path dataHome() {
  return baseDirectory("XDG_DATA_HOME", ".local/share");
}

std::vector<std::filesystem::path> dataDirectories() {
  std::vector<std::filesystem::path> directories{dataHome()};
  const char* variable = std::getenv("XDG_DATA_DIRS");
  std::string_view rest = variable != nullptr && variable[0] != '\0' ? variable : "/usr/local/share:/usr/share";
  while (!rest.empty()) {
    const std::string_view directory = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(rest.size(), directory.size() + 1));
    if (directory.starts_with('/')) directories.emplace_back(directory);
  }
  return directories;
}

void write(const std::filesystem::path& file, const std::string& content) {
  std::filesystem::create_directories(file.parent_path());
  files::replace(file, content);
}

}  // namespace corvana::xdg
