// Starting up, and what comes from the helper.
#include "stub/stub_app_delegate.h"

#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "core/identity/log.h"
#include "core/stub/chrome_windows.h"
#include "core/stub/menu_builder.h"
#include "core/stub/stub_revision.h"

namespace corvana {

StubAppDelegate::StubAppDelegate(const Bundle& bundle, const System& system)
    : system_(system), notificationHandler_(system.workspace) {
  // Without a usable configuration the app stands for Chrome's default profile.
  try {
    if (auto config = StubConfig::load(bundle)) {
      config_ = std::move(*config);
    } else {
      Log::stub.error("no configuration in ", bundle.path.string(), "; using the profile Default");
    }
  } catch (const std::runtime_error& error) {
    Log::stub.error("configuration could not be read; using the profile Default: ", error.what());
  }
  try {
    const PropertyDictionary plist = bundle.infoDictionary().value_or(PropertyDictionary());
    bundleID_ = Bundle::identifier(plist);
    displayName_ = Bundle::displayName(plist).value_or(displayName_);
    stubRevision_ = StubRevision::revision(plist);
  } catch (const std::runtime_error&) {
    // Reading the configuration has logged it, unless that came from a file of its own; the app then runs well enough.
  }
}

void StubAppDelegate::applicationWillFinishLaunching() {
  MenuBuilder::install(system_.application, displayName_);
}

void StubAppDelegate::applicationDidFinishLaunching() {
  Log::stub.info(displayName_, " starting for ", config_.profileDirectory);
  system_.link.onEvent = lifetime_.guard([this](const Event& event) { handle(event); });
  system_.link.onStateChange = lifetime_.guard([this](HelperConnection::State state) { handleLinkState(state); });
  system_.link.connect(helloRequest());
  notificationHandler_.install(system_.notifications);
  didInitialActivate_ = true;
  if (wantsNewWindow_) launchDegraded({});
  if (!wantsNewWindow_ || !pendingURLs_.empty()) activateOrLaunch();
  graceTimer_ = system_.mainQueue.after(launchGrace, [this] { launchGraceEnded(); });
}

Request StubAppDelegate::helloRequest() const {
  return {.op = Request::Op::hello,
          .profileDirectory = config_.profileDirectory,
          .profileName = config_.profileName,
          .tabGroup = config_.tabGroupName,
          .bundleID = bundleID_,
          .pid = ::getpid(),
          .includeIncognito = config_.includeIncognito,
          .countAppWindows = config_.countAppWindows,
          .ownWindow = config_.ownWindow,
          .stubRevision = stubRevision_};
}

void StubAppDelegate::launchGraceEnded() {
  if (liveness_ != Liveness::starting) return;
  if (ChromeWindows::isChromeRunning(system_.workspace)) {
    liveness_ = Liveness::watching;  // it may take its time
    return;
  }
  Log::stub.notice("no windows appeared within the launch grace period; quitting");
  quitBySelf();
}

void StubAppDelegate::handleLinkState(HelperConnection::State state) {
  if (state != HelperConnection::State::connected) return startDegradedWatcher();
  // A watcher that runs goes on: only the helper's word that it can see windows makes it superfluous.
  if (!awaitingHelper_) return;
  awaitingHelper_ = false;
  helperWaitTimer_ = {};
  activateOrLaunch();
}

void StubAppDelegate::handle(const Event& event) {
  switch (event.event) {
    case Event::Kind::windows:
      if (!isAbout(event)) return;
      return updateLiveness(event.count.value_or(0), event.confidence.value_or(CountConfidence::unclassified),
                            event.chromeRunning.value_or(false));
    case Event::Kind::axPermission:
      if (event.trusted.value_or(true)) return degraded_.reset();
      warnAboutAccessibility();
      return startDegradedWatcher();
    case Event::Kind::shuttingDown:
      return Log::stub.info("helper is shutting down");
    case Event::Kind::stubOutdated:
      return warnOutdated(event.improvements.value_or(std::vector<std::string>()));
    case Event::Kind::routingHistoryChanged:
    case Event::Kind::unknown:
      return;
  }
}

bool StubAppDelegate::isAbout(const Event& event) const {
  return event.profileDirectory == config_.profileDirectory && event.tabGroup == config_.tabGroupName;
}

void StubAppDelegate::startDegradedWatcher() {
  if (degraded_) return;
  degraded_.emplace(system_.workspace, system_.windows, system_.mainQueue,
                    lifetime_.guard([this](const DegradedWatcher::Reading& reading) {
                      updateLiveness(reading.count, reading.confidence, reading.chromeRunning);
                    }));
  degraded_->start();
}

}  // namespace corvana
