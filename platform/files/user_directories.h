#pragma once

#include <filesystem>

/// Where the current user's files belong. Looked up on every call, so that a changed environment counts; any thread.
namespace corvana::userDirectories {

/// The user's home directory. On Linux $HOME when it is an absolute path, else the account's entry in the user
/// database.
std::filesystem::path home();

/// A directory for short-lived files that belongs to this user alone (mode 0700), created when it is missing.
/// On Linux $XDG_RUNTIME_DIR, else /run/user/<uid>, else a directory made for this user; never one that others can
/// write to. The base directory rules: freedesktop.org, "XDG Base Directory Specification" 0.8.
std::filesystem::path temporary();

}  // namespace corvana::userDirectories
