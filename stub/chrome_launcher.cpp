#include "stub/chrome_launcher.h"

#include <utility>

#include "core/identity/corvana.h"
#include "core/identity/log.h"
#include "core/stub/chrome_windows.h"

namespace corvana {

std::filesystem::path ChromeLauncher::chromeURL(Workspace& workspace) {
  return workspace.urlForApplication(Corvana::chromeBundleID).value_or("/Applications/Google Chrome.app");
}

std::optional<RunningApplication> ChromeLauncher::runningChrome(Workspace& workspace) {
  return ChromeWindows::runningChrome(workspace);
}

void ChromeLauncher::launch(Workspace& workspace, Scheduler& mainQueue, const std::string& profileDirectory,
                            std::span<const URL> urls, std::function<void(bool)> completion) {
  OpenConfiguration configuration{
      .arguments = {"--no-default-browser-check", "--profile-directory=" + profileDirectory},
      // Only a new instance is given arguments when Chrome runs already; it passes them on to the running one.
      .createsNewApplicationInstance = true,
      .activates = true,
      .addsToRecentItems = false};
  for (const URL& url : urls) {
    configuration.arguments.push_back(url.isFileURL() ? url.fileSystemPath() : url.absoluteString());
  }

  Log::stub.info("launching Chrome for ", profileDirectory, ", ", urls.size(), " url(s)");
  workspace.openApplication(chromeURL(workspace), configuration,
                            [&mainQueue, completion = std::move(completion)](const std::optional<OpenError>& error) {
                              if (error) Log::stub.error("Chrome launch failed: ", error->description);
                              mainQueue.post([completion, succeeded = !error] {
                                if (completion) completion(succeeded);
                              });
                            });
}

}  // namespace corvana
