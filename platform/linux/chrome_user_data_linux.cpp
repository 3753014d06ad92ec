#include "platform/chrome_user_data.h"
#include "platform/linux/browser_installation.h"
#include "platform/linux/xdg_directories.h"

namespace corvana {

std::filesystem::path chromeUserDataDirectory() {
  const auto chrome = BrowserInstallation::find("com.google.Chrome");
  return chrome ? chrome->userDataDirectory : xdg::configHome() / "google-chrome";
}

}  // namespace corvana
