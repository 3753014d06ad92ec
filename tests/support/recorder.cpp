// Stands in for a browser in tests: records how it was started, then does as its first argument says.
// Usage: recorder FOLDER exit:STATUS|signal|stay [ARGUMENT...]
// Writes FOLDER/arguments and FOLDER/environment (each item followed by a zero byte), FOLDER/descriptors,
// FOLDER/signals, FOLDER/session ("own" when it leads a session) and FOLDER/directory, and last its process id to
// FOLDER/ready, which a test that waits for it makes as a FIFO.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

int main(int, char** arguments) {
  namespace fs = std::filesystem;
  const fs::path folder = arguments[1];
  std::map<std::string, std::string> descriptors;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const std::string target = fs::read_symlink(entry.path()).string();
    const bool isTheListing = target.starts_with("/proc/");
    if (!isTheListing) descriptors.emplace(entry.path().filename().string(), target);
  }
  std::ofstream listing(folder / "descriptors");
  for (const auto& [number, target] : descriptors) listing << number << ' ' << target << '\n';
  listing.close();
  std::ofstream list(folder / "arguments");
  for (char** argument = arguments + 3; *argument != nullptr; ++argument) list << *argument << '\0';
  list.close();
  std::ofstream environment(folder / "environment");
  for (char** variable = environ; *variable != nullptr; ++variable) environment << *variable << '\0';
  environment.close();
  std::ifstream status("/proc/self/status");
  std::ofstream signals(folder / "signals");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigBlk") || line.starts_with("SigIgn")) signals << line << '\n';
  }
  signals.close();
  std::ofstream(folder / "session") << (::getsid(0) == ::getpid() ? "own" : "shared");
  std::ofstream(folder / "directory") << fs::current_path().string();
  std::ofstream(folder / "ready") << ::getpid();

  const std::string mode = arguments[2];
  if (mode == "signal") ::raise(SIGKILL);
  if (mode == "stay") ::pause();
  return std::atoi(mode.substr(mode.find(':') + 1).c_str());
}
