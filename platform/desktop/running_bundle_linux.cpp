#include "platform/desktop/running_bundle.h"

namespace corvana {

std::filesystem::path runningBundlePath() {
  std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents") {
    return folder.parent_path().parent_path();
  }
  return folder;
}

}  // namespace corvana
