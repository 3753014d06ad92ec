// Exec lines: any text gives a command line or an error, and arguments come through it unchanged.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/desktop/desktop_entry_linux.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const corvana::DesktopEntry entry{
      .file = "/x.desktop", .name = "%c %f", .icon = "icon", .exec = std::string(data, data + size)};
  try {
    const std::vector<std::string> arguments = {"--first", "%U \"$(x)"};
    const std::vector<std::string> command = entry.commandLine(arguments);
    if (std::search(command.begin() + 1, command.end(), arguments.begin(), arguments.end()) == command.end()) {
      std::abort();
    }
  } catch (const corvana::DesktopEntryError&) {
  }
  return 0;
}
