#include "platform/desktop/chrome_user_data.h"
#include "platform/files/user_directories.h"

namespace corvana {

std::filesystem::path chromeUserDataDirectory() {
  return userDirectories::home() / "Library/Application Support/Google/Chrome";
}

}  // namespace corvana
