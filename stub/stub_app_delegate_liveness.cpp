// Whether the app still has windows, and what follows when it has none.
#include "core/identity/log.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

// Whether Chrome runs makes no difference: the count and its confidence say all.
void StubAppDelegate::updateLiveness(std::int64_t count, CountConfidence confidence, bool /*chromeRunning*/) {
  if (count > 0) {
    graceTimer_ = {};
    liveness_ = Liveness::watching;
    drainTimer_ = {};
    untrustedZeroSince_.reset();
    return;
  }
  if (confidence == CountConfidence::certain) {
    untrustedZeroSince_.reset();
    if (liveness_ != Liveness::starting) beginDrain();
    return;
  }
  const auto now = system_.clock.now();
  if (!untrustedZeroSince_) untrustedZeroSince_ = now;
  if (now - *untrustedZeroSince_ < untrustedZeroTimeout || liveness_ == Liveness::starting) return;
  Log::stub.notice("no windows seen for ", untrustedZeroTimeout.count(),
                   "s and nothing can confirm it; quitting on the balance of evidence");
  beginDrain();
}

void StubAppDelegate::beginDrain() {
  if (drainTimer_) return;  // later zeros do not put it off
  liveness_ = Liveness::draining;
  drainTimer_ = system_.mainQueue.after(drainDebounce, [this] {
    if (liveness_ != Liveness::draining) return;
    Log::stub.info("last window for this profile closed; quitting");
    quitBySelf();
  });
}

void StubAppDelegate::quitBySelf() {
  isSelfQuitting_ = true;
  system_.application.terminate();
}

}  // namespace corvana
