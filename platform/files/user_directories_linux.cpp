#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/files/files.h"
#include "platform/files/user_directories.h"

namespace corvana::userDirectories {
std::filesystem::path home() {
  if (const char* variable = std::getenv("HOME"); variable != nullptr && variable[0] == '/') return variable;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16'384);
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return found->pw_dir;
  }
  return "/";
}

std::filesystem::path temporary() {
  const std::string uid = std::to_string(::getuid());
  if (const char* variable = std::getenv("XDG_RUNTIME_DIR"); variable != nullptr && variable[0] == '/') {
    if (files::isPrivateDirectory(variable)) return variable;
  }
  if (std::filesystem::path session = "/run/user/" + uid; files::isPrivateDirectory(session)) return session;
  // Anybody may have made the directory before us, so it counts only when it proves to be this user's.
  for (const char* shared : {"/tmp/corvana-", "/var/tmp/corvana-"}) {
    std::filesystem::path own = shared + uid;
    (void)::mkdir(own.c_str(), 0700);
    if (files::isPrivateDirectory(own)) return own;
  }
  // Nobody else can be in the way here, though the path may turn out too long for a socket, which then says so.
  std::filesystem::path last = home() / ".cache" / "corvana";
  try {
    files::createPrivateDirectories(last);
    std::filesystem::permissions(last, std::filesystem::perms::owner_all);
  } catch (const std::filesystem::filesystem_error&) {
    // Whoever creates a file in it gets the error, with the path.
  }
  return last;
}

}  // namespace corvana::userDirectories
