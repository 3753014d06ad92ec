#include "platform/desktop/application_bundle_linux.h"

#include <unistd.h>

#include "platform/files/property_list.h"
#include "platform/process/processes_linux.h"

namespace corvana {

namespace fs = std::filesystem;

std::optional<ApplicationBundle> ApplicationBundle::read(const fs::path& path) {
  if (!path.is_absolute()) return std::nullopt;  // nothing about an application depends on where we run
  try {
    const PropertyDictionary plist = PropertyList::read(path / "Contents/Info.plist");
    const auto* identifier = find<std::string>(plist, "CFBundleIdentifier");
    const auto* executable = find<std::string>(plist, "CFBundleExecutable");
    // A name, and no path that leads elsewhere.
    if (identifier == nullptr || executable == nullptr || executable->find('/') != std::string::npos)
      return std::nullopt;
    return ApplicationBundle{path, *identifier, path / "Contents/MacOS" / *executable};
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

std::optional<ApplicationBundle> ApplicationBundle::of(const fs::path& program) {
  const fs::path folder = program.parent_path();
  if (folder.filename() != "MacOS" || folder.parent_path().filename() != "Contents") return std::nullopt;
  return read(folder.parent_path().parent_path());
}

std::vector<pid_t> ApplicationBundle::processes(std::string_view identifier) {
  std::vector<pid_t> result;
  processes::forEach([&](pid_t process) {
    const auto program = processes::executable(process);
    const auto bundle = program ? of(*program) : std::nullopt;
    if (bundle && bundle->identifier == identifier) result.push_back(process);
    return true;
  });
  return result;
}

bool ApplicationBundle::isRunning() const {
  std::error_code error;
  const fs::path program = fs::canonical(executable, error);
  if (error) return false;
  bool isFound = false;
  processes::forEach([&](pid_t process) {
    isFound = processes::executable(process) == program;
    return !isFound;
  });
  return isFound;
}

}  // namespace corvana
