#pragma once

#include <sys/types.h>

#include <string>

/// The user's systemd, where the session runs under one.
namespace corvana::systemdUser {

/// Whether it runs.
bool isRunning();

/// Puts a process that this program has started into a scope of its own, so that it does not end with this program's.
/// Where that fails the process stays where it is. Returns at once; a thread of its own waits for the answers.
void moveToOwnScope(pid_t process, const std::string& application);

}  // namespace corvana::systemdUser
