#include "platform/desktop/browser_installation_linux.h"
#include "platform/desktop/chrome_user_data.h"
#include "platform/files/xdg_directories_linux.h"

namespace corvana {

std::filesystem::path chromeUserDataDirectory() {
  const auto chrome = BrowserInstallation::find("com.google.Chrome");
  return chrome ? chrome->userDataDirectory : xdg::configHome() / "google-chrome";
}

}  // namespace corvana
