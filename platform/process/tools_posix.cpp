#include "platform/process/tools.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/process/unique_fd.h"

extern char** environ;  // POSIX has no header declare it

namespace corvana {
namespace {

/// Reads until every writer has closed the pipe.
std::string readAll(int descriptor) {
  std::string output;
  char chunk[4096];
  while (true) {
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return output;
    output.append(chunk, static_cast<std::size_t>(count));
  }
}

/// The status as a shell would give it: that of the exit, or 128 and the signal.
int statusOf(pid_t process) {
  int status = 0;
  while (::waitpid(process, &status, 0) < 0) {
    if (errno != EINTR)
      return 0;  // whoever started us made the system reap our children; no reason to speak of failure
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::string runTool(const std::string& executable, const std::vector<std::string>& arguments) {
  std::vector<char*> words{const_cast<char*>(executable.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);

  int ends[2];
  if (::pipe(ends) != 0) throw ToolError(executable + " cannot be run: " + std::strerror(errno));
  const UniqueFD reading(ends[0]);
  UniqueFD writing(ends[1]);
  (void)::fcntl(reading.get(), F_SETFD, FD_CLOEXEC);
  (void)::fcntl(writing.get(), F_SETFD, FD_CLOEXEC);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, writing.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, writing.get(), STDERR_FILENO);
  // What this program blocks or ignores is no business of the tool's.
  posix_spawnattr_t attributes;
  sigset_t signals;
  ::posix_spawnattr_init(&attributes);
  ::sigemptyset(&signals);
  ::posix_spawnattr_setsigmask(&attributes, &signals);
  ::sigfillset(&signals);
  ::posix_spawnattr_setsigdefault(&attributes, &signals);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  const int error = ::posix_spawn(&process, executable.c_str(), &actions, &attributes, words.data(), environ);
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw ToolError(executable + " cannot be run: " + std::strerror(error));

  writing = UniqueFD();
  std::string output = readAll(reading.get());
  if (const int status = statusOf(process); status != 0) {
    throw ToolError(executable + " failed (" + std::to_string(status) + ") " + output);
  }
  return output;
}

}  // namespace corvana
