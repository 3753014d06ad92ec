#include "platform/process/detached_process_linux.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>
#include <system_error>

namespace corvana {
namespace {

void check(int error, const char* what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

/// What was meant for this process alone by those who started it: GIO's launch marks, the tokens of start-up
/// notification and activation, and systemd's descriptors, watchdog and invocation of a unit.
constexpr std::array<std::string_view, 12> ownVariables = {"GIO_LAUNCHED_DESKTOP_FILE",
                                                           "GIO_LAUNCHED_DESKTOP_FILE_PID",
                                                           "DESKTOP_STARTUP_ID",
                                                           "XDG_ACTIVATION_TOKEN",
                                                           "LISTEN_FDS",
                                                           "LISTEN_PID",
                                                           "LISTEN_FDNAMES",
                                                           "NOTIFY_SOCKET",
                                                           "WATCHDOG_PID",
                                                           "WATCHDOG_USEC",
                                                           "INVOCATION_ID",
                                                           "JOURNAL_STREAM"};

std::string_view nameIn(std::string_view variable) {
  return variable.substr(0, variable.find('='));
}

std::vector<char*> environmentForOthers(const std::vector<std::string>& additions) {
  std::vector<char*> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view name = nameIn(*variable);
    const auto isNamed = [name](const std::string& addition) { return nameIn(addition) == name; };
    if (std::ranges::count(ownVariables, name) > 0 || std::ranges::any_of(additions, isNamed)) continue;
    environment.push_back(*variable);
  }
  for (const std::string& addition : additions) environment.push_back(const_cast<char*>(addition.c_str()));
  environment.push_back(nullptr);
  return environment;
}

class SpawnAttributes {
 public:
  SpawnAttributes() {
    check(::posix_spawnattr_init(&attributes_), "posix_spawnattr_init");
    sigset_t signals;
    ::sigemptyset(&signals);
    check(::posix_spawnattr_setsigmask(&attributes_, &signals), "posix_spawnattr_setsigmask");
    ::sigfillset(&signals);
    check(::posix_spawnattr_setsigdefault(&attributes_, &signals), "posix_spawnattr_setsigdefault");
    check(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF),
          "posix_spawnattr_setflags");
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

class SpawnFileActions {
 public:
  explicit SpawnFileActions(const std::filesystem::path& workingDirectory) {
    check(::posix_spawn_file_actions_init(&actions_), "posix_spawn_file_actions_init");
    check(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0), "addopen");
    check(::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0), "addopen");
    check(::posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO), "adddup2");
    check(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1), "addclosefrom_np");
    check(::posix_spawn_file_actions_addchdir_np(&actions_, workingDirectory.c_str()), "addchdir_np");
  }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;
  ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

pid_t startDetached(const std::vector<std::string>& command, const std::filesystem::path& workingDirectory,
                    const std::vector<std::string>& environment) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  const SpawnAttributes attributes;
  const SpawnFileActions actions(workingDirectory);
  pid_t process = 0;
  check(::posix_spawnp(&process, arguments.front(), actions.get(), attributes.get(), arguments.data(),
                       environmentForOthers(environment).data()),
        "posix_spawnp");
  return process;
}

}  // namespace corvana
