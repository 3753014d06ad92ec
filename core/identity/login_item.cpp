#include "core/identity/login_item.h"

#include <unistd.h>

#include <filesystem>
#include <string>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "platform/files/files.h"
#include "platform/files/user_directories.h"
#include "platform/process/tools.h"

namespace corvana {

bool LoginItem::isEnabled(LoginItems& items) {
  return items.status(Corvana::helperBundleID) == LoginItems::Status::enabled;
}

bool LoginItem::needsApproval(LoginItems& items) {
  return items.status(Corvana::helperBundleID) == LoginItems::Status::requiresApproval;
}

void LoginItem::setEnabled(LoginItems& items, bool on) {
  if (on) {
    items.add(Corvana::helperBundleID);
  } else {
    items.remove(Corvana::helperBundleID);
  }
  removeLegacyLaunchAgent();
}

void LoginItem::removeLegacyLaunchAgent() {
  const std::string name(Corvana::helperBundleID);
  const std::filesystem::path file = userDirectories::home() / "Library/LaunchAgents" / (name + ".plist");
  if (!files::exists(file)) return;
  try {
    (void)runTool("/bin/launchctl", {"bootout", "gui/" + std::to_string(::getuid()) + "/" + name});
  } catch (const ToolError&) {
    // It need not be loaded, and other systems have no such tool.
  }
  std::filesystem::remove(file);
  Log::creator.info("removed the old LaunchAgent login item");
}

}  // namespace corvana
