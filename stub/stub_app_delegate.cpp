#include "stub/stub_app_delegate.h"

#include <stdexcept>
#include <utility>

#include "core/identity/log.h"
#include "stub/chrome_launcher.h"

namespace corvana {
namespace {

/// The bundle's configuration. Without a usable one the app stands for Chrome's default profile.
StubConfig configurationOf(const Bundle& bundle) {
  try {
    if (auto config = StubConfig::load(bundle)) return std::move(*config);
    Log::stub.error("no configuration in ", bundle.path.string(), "; using the profile Default");
  } catch (const std::runtime_error& error) {
    Log::stub.error("configuration could not be read; using the profile Default: ", error.what());
  }
  return {.profileDirectory = "Default", .profileName = "Default"};
}

std::string displayNameOf(const Bundle& bundle) {
  try {
    const PropertyDictionary plist = bundle.infoDictionary().value_or(PropertyDictionary());
    for (const std::string_view key : {"CFBundleDisplayName", "CFBundleName"}) {
      if (const auto* name = find<std::string>(plist, key)) return *name;
    }
  } catch (const std::runtime_error&) {
    // Reading the configuration has logged it, unless that came from a file of its own; the app then runs well enough.
  }
  return "Corvana App";
}

}  // namespace

StubAppDelegate::StubAppDelegate(const Bundle& bundle, Workspace& workspace, Scheduler& mainQueue,
                                 std::function<void()> terminate)
    : workspace_(workspace),
      mainQueue_(mainQueue),
      terminate_(std::move(terminate)),
      config_(configurationOf(bundle)),
      displayName_(displayNameOf(bundle)) {}

void StubAppDelegate::applicationDidFinishLaunching() {
  Log::stub.info(displayName_, " starting for ", config_.profileDirectory);
  activateOrLaunch();
  checkChrome();  // it may be running already
  graceTimer_ = mainQueue_.after(launchGrace, [this] {
    checkChrome();
    if (didSeeChrome_) return;
    Log::stub.notice("no windows appeared within the launch grace period; quitting");
    terminate_();
  });
  chromeCheckTimer_ = mainQueue_.every(chromeCheckPeriod, [this] { checkChrome(); });
}

void StubAppDelegate::applicationOpen(std::vector<URL> urls) {
  pendingURLs_.insert(pendingURLs_.end(), std::move_iterator(urls.begin()), std::move_iterator(urls.end()));
  if (didInitialActivate_) activateOrLaunch();
}

void StubAppDelegate::applicationShouldHandleReopen() {
  activateOrLaunch();
}

void StubAppDelegate::activateOrLaunch() {
  didInitialActivate_ = true;
  const std::vector<URL> urls = std::exchange(pendingURLs_, {});
  ChromeLauncher::launch(workspace_, mainQueue_, config_.profileDirectory, urls, nullptr);
}

void StubAppDelegate::checkChrome() {
  if (ChromeLauncher::runningChrome(workspace_)) {
    didSeeChrome_ = true;
  } else if (didSeeChrome_) {
    Log::stub.info("Chrome has ended; quitting");
    terminate_();
  }
}

}  // namespace corvana
