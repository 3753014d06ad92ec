// What the app tells its user unasked.
#include "core/identity/log.h"
#include "core/stub/stub_revision.h"
#include "core/stub/warn_throttle.h"
#include "stub/stub_app_delegate.h"

namespace corvana {

void StubAppDelegate::notify(const std::string& title, const std::string& body) {
  system_.notifications.post(title, body);
}

void StubAppDelegate::warnOutdated(const std::vector<std::string>& improvements) {
  Log::stub.notice("this app is out of date; telling the user");
  std::string text;
  for (const std::string& improvement : improvements) text += improvement + " ";
  if (improvements.empty()) text = std::string(StubRevision::genericAdvice) + " ";
  notify(displayName_ + " can be updated", text + "Open Corvana and press Update.");
}

void StubAppDelegate::warnAboutAccessibility() {
  if (!WarnThrottle::shouldWarn("accessibility", accessibilityWarningInterval, system_.clock)) return;
  const std::string remedy = "Grant Accessibility to Corvana Helper in System Settings > Privacy & Security";
  notify(displayName_ + " can't see Chrome's windows",
         config_.isTabGroup() ? remedy + ". Until then this app can only open " + config_.profileName + ", not its “" +
                                    *config_.tabGroupName + "” tab group."
                              : remedy + " to raise existing windows instead of opening new ones.");
}

void StubAppDelegate::warnGroupMissing() {
  if (!config_.isTabGroup() || !WarnThrottle::shouldWarn("group-missing", groupWarningInterval, system_.clock)) {
    return;
  }
  const std::string group = "“" + *config_.tabGroupName + "”";
  notify(group + " isn't open", displayName_ + " opened " + config_.profileName +
                                    " instead. Chrome no longer offers a tab group called " + group +
                                    " — it may have been renamed, or closed without having been saved.");
}

}  // namespace corvana
