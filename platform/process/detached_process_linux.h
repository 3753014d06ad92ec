#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace corvana {

/// Starts a program that is to outlive this one: in a session of its own, with no descriptor, no blocked or ignored
/// signal and no start-up leftover of ours, its standard streams on /dev/null. The caller has to reap it for as long as
/// it lives itself. `command` is the program, looked up in the search path, and its arguments; no argument may hold a
/// zero byte. `environment` has variables that it is given besides ours, or in their place, as "NAME=value". Throws
/// std::system_error when the program cannot be started.
pid_t startDetached(const std::vector<std::string>& command, const std::filesystem::path& workingDirectory,
                    const std::vector<std::string>& environment = {});

}  // namespace corvana
