#include "core/identity/helper_installer.h"

#include <thread>

#include "core/identity/bundle.h"
#include "core/identity/corvana.h"
#include "core/identity/document_lock.h"
#include "core/identity/log.h"
#include "platform/desktop/running_bundle.h"
#include "platform/files/bundle_copy.h"
#include "platform/files/files.h"
#include "platform/process/tools.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

/// The helper inside the running main application, else inside the one that the system knows.
std::optional<fs::path> sourceHelperURL(Workspace& workspace) {
  fs::path helper = runningBundlePath() / Corvana::helperInBundle;
  if (files::exists(helper)) return helper;
  const auto creator = workspace.urlForApplication(Corvana::creatorBundleID);
  if (!creator) return std::nullopt;
  helper = *creator / Corvana::helperInBundle;
  return files::exists(helper) ? std::optional(helper) : std::nullopt;
}

}  // namespace

bool HelperInstaller::installFromCreatorBundle(Workspace& workspace, bool force, const Wait& wait) {
  const fs::path destination = Corvana::installedHelperURL();
  const auto source = sourceHelperURL(workspace);
  if (!source) {
    const InstallError error = InstallError::noSourceBundle();
    if (files::exists(destination)) {
      Log::creator.notice(error.what());  // what is installed may do
    } else {
      Log::creator.error("helper not installed and no creator bundle to copy it from");
    }
    throw error;
  }
  const auto build = version(*source);
  const auto isInstalled = [&build] { return build && build == installedVersion(); };
  if (!force && isInstalled()) return false;

  // Of several proxy apps that miss the helper at once, as at login, one installs it, and the others wait for that.
  const DocumentLock lock(destination, installationPatience);
  if (!force && isInstalled()) return false;
  terminateRunningHelper(workspace, wait);
  fs::remove_all(destination);
  copyBundle(*source, destination);
  try {
    clearQuarantine(destination);
  } catch (const ToolError& error) {
    // The user can still allow the helper by hand, and without it there would be none.
    Log::creator.error("helper keeps its quarantine marks: ", error.what());
  }
  Log::creator.info("installed helper ", build.value_or("of unknown version"), " to fixed path");
  return true;
}

std::optional<std::string> HelperInstaller::installedVersion() {
  return version(Corvana::installedHelperURL());
}

std::optional<std::string> HelperInstaller::version(const fs::path& helper) {
  try {
    const auto plist = Bundle{helper}.infoDictionary();
    const auto* text = plist ? find<std::string>(*plist, "CFBundleVersion") : nullptr;
    return text == nullptr ? std::nullopt : std::optional(*text);
  } catch (const std::runtime_error&) {
    return std::nullopt;  // a damaged bundle is of no version, and is replaced
  }
}

void HelperInstaller::terminateRunningHelper(Workspace& workspace, const Wait& wait) {
  const auto running = workspace.runningApplications(Corvana::helperBundleID);
  if (running.empty()) return;
  for (const RunningApplication& helper : running) workspace.terminate(helper);
  wait(terminationGrace);
  for (const RunningApplication& helper : workspace.runningApplications(Corvana::helperBundleID)) {
    workspace.forceTerminate(helper);
  }
}

std::string HelperInstaller::run(const std::string& executable, const std::vector<std::string>& arguments) {
  return runTool(executable, arguments);
}

void HelperInstaller::sleep(std::chrono::milliseconds duration) {
  std::this_thread::sleep_for(duration);
}

}  // namespace corvana
