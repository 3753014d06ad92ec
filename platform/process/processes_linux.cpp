#include "platform/process/processes_linux.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace corvana::processes {

std::optional<std::filesystem::path> executable(pid_t process) {
  std::error_code error;
  std::string program = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error).string();
  if (error) return std::nullopt;
  constexpr std::string_view replaced = " (deleted)";
  if (program.ends_with(replaced)) program.resize(program.size() - replaced.size());
  return program;
}

void forEach(const std::function<bool(pid_t)>& visit) {
  std::error_code error;
  // A process that ends while the folder is read is just not met.
  for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const auto process = numberFrom<pid_t>(entry->path().filename().string());
    struct stat status {};
    const bool isOurs = process && ::stat(entry->path().c_str(), &status) == 0 && status.st_uid == ::getuid();
    if (isOurs && !visit(*process)) return;
  }
}

}  // namespace corvana::processes
