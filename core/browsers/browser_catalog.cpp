#include "core/browsers/browser_catalog.h"

#include <algorithm>
#include <memory>
#include <set>

#include "core/identity/corvana.h"
#include "core/identity/field_hasher.h"
#include "core/identity/log.h"
#include "core/registry/registry.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 27> knownBrowserIDs{"com.apple.Safari",
                                                           "com.apple.SafariTechnologyPreview",
                                                           "com.google.Chrome",
                                                           "com.google.Chrome.beta",
                                                           "com.google.Chrome.dev",
                                                           "com.google.Chrome.canary",
                                                           "com.google.chrome.for.testing",
                                                           "org.chromium.Chromium",
                                                           "org.mozilla.firefox",
                                                           "org.mozilla.firefoxdeveloperedition",
                                                           "org.mozilla.nightly",
                                                           "com.microsoft.edgemac",
                                                           "com.microsoft.edgemac.Beta",
                                                           "com.brave.Browser",
                                                           "com.brave.Browser.beta",
                                                           "com.brave.Browser.nightly",
                                                           "company.thebrowser.Browser",
                                                           "company.thebrowser.dia",
                                                           "com.operasoftware.Opera",
                                                           "com.operasoftware.OperaGX",
                                                           "com.vivaldi.Vivaldi",
                                                           "com.kagimacOS.Kagi",
                                                           "app.zen-browser.zen",
                                                           "com.duckduckgo.macos.browser",
                                                           "org.torproject.torbrowser",
                                                           "com.sigmaos.sigmaos.macos",
                                                           "ai.perplexity.comet"};

/// The browsers in which a private window can be asked for, with the option that does.
struct PrivateBrowsing {
  std::string_view bundleID;
  std::string_view option;
};
constexpr std::array<PrivateBrowsing, 11> privateBrowsingIDs{{{"com.google.Chrome", "--incognito"},
                                                              {"com.google.Chrome.beta", "--incognito"},
                                                              {"com.google.Chrome.dev", "--incognito"},
                                                              {"com.google.Chrome.canary", "--incognito"},
                                                              {"com.google.chrome.for.testing", "--incognito"},
                                                              {"org.chromium.Chromium", "--incognito"},
                                                              {"com.brave.Browser", "--incognito"},
                                                              {"com.brave.Browser.beta", "--incognito"},
                                                              {"com.brave.Browser.nightly", "--incognito"},
                                                              {"com.microsoft.edgemac", "--inprivate"},
                                                              {"com.microsoft.edgemac.Beta", "--inprivate"}}};

constexpr std::array<std::string_view, 2> lastResortOrder{Corvana::chromeBundleID, BrowserCatalog::safariBundleID};

Handled webLinks() {
  return {Handled::Kind::scheme, "https"};
}

std::string displayName(const ApplicationInfo& info) {
  for (const std::string* name : {&info.name, &info.displayName, &info.bundleName, &info.bundleIdentifier}) {
    if (!name->empty()) return *name;
  }
  return "Unknown";
}

std::optional<std::string> displayName(const std::optional<fs::path>& application, ApplicationHandlers& handlers) {
  const auto info = application ? handlers.info(*application) : std::nullopt;
  return info ? std::optional(displayName(*info)) : std::nullopt;
}

/// Makes the application the handler of one after the other; stops at the first failure.
void setDefaultApplication(const fs::path& application, std::vector<Handled> remaining, ApplicationHandlers& handlers,
                           ApplicationHandlers::Completion completion) {
  const Handled next = remaining.back();
  remaining.pop_back();
  handlers.setDefaultApplication(application, next,
                                 [application, remaining = std::move(remaining), &handlers,
                                  completion = std::move(completion)](const std::optional<std::string>& error) {
                                   if (error || remaining.empty()) return completion(error);
                                   setDefaultApplication(application, remaining, handlers, completion);
                                 });
}

/// The application that opens it; nothing when none does, or one without an identifier.
std::optional<std::string> handlerOf(const Handled& handled, ApplicationHandlers& handlers) {
  const auto application = handlers.defaultApplication(handled);
  const auto info = application ? handlers.info(*application) : std::nullopt;
  return info && !info->bundleIdentifier.empty() ? std::optional(info->bundleIdentifier) : std::nullopt;
}

bool isHelperDefault(const Handled& handled, ApplicationHandlers& handlers) {
  return handlerOf(handled, handlers) == Corvana::helperBundleID;
}

/// Makes the helper the handler of all that is asked for, or, for what it is the handler of and is to be no more, the
/// browser of last resort.
void request(std::vector<Handled> handled, bool isForHelper, Workspace& workspace, ApplicationHandlers& handlers,
             RuleStore& rules, const ApplicationHandlers::Completion& completion) {
  std::optional<fs::path> application;
  if (isForHelper) {
    application = workspace.urlForApplication(Corvana::helperBundleID);
    if (!application) return completion("the helper is not installed");
  } else {
    std::erase_if(handled, [&handlers](const Handled& one) { return !isHelperDefault(one, handlers); });
    if (handled.empty()) return completion(std::nullopt);
    application = BrowserCatalog::lastResort(*rules.current(), workspace, handlers, rules);
    if (!application) return completion(BrowserCatalog::CatalogError::noBrowserAvailable().what());
  }
  setDefaultApplication(*application, std::move(handled), handlers, completion);
}

}  // namespace

bool BrowserEntry::isKnownBrowser() const {
  return std::ranges::count(knownBrowserIDs, bundleID) > 0;
}

std::vector<BrowserEntry> BrowserCatalog::installed(Workspace& workspace, ApplicationHandlers& handlers,
                                                    RuleStore& rules) {
  return installed(workspace, handlers, rules.current()->additionalBrowserIDs);
}

std::vector<BrowserEntry> BrowserCatalog::installed(Workspace& workspace, ApplicationHandlers& handlers,
                                                    const std::vector<std::string>& additionalIDs) {
  std::vector<BrowserEntry> browsers;
  std::set<std::string> added;
  const auto add = [&](const fs::path& application) {
    const auto info = handlers.info(application);
    if (!info || info->bundleIdentifier.empty() || isOurs(info->bundleIdentifier)) return;
    if (!added.insert(info->bundleIdentifier).second) return;
    browsers.push_back({info->bundleIdentifier, displayName(*info), info->version, application.string()});
  };
  for (const fs::path& application : handlers.applications(webLinks())) add(application);
  for (const std::string& bundleID : additionalIDs) {
    if (added.contains(bundleID)) continue;
    if (const auto application = workspace.urlForApplication(bundleID)) add(*application);
  }
  return ordered(std::move(browsers));
}

std::vector<BrowserEntry> BrowserCatalog::ordered(std::vector<BrowserEntry> browsers) {
  std::ranges::stable_sort(browsers, [](const BrowserEntry& a, const BrowserEntry& b) {
    const bool isFirst = a.bundleID == safariBundleID;
    if (isFirst != (b.bundleID == safariBundleID)) return isFirst;
    return text::compareStandard(a.name, b.name) < 0;
  });
  return browsers;
}

bool BrowserCatalog::isOurs(std::string_view bundleID) {
  return Corvana::isOurBundleID(bundleID);
}

bool BrowserCatalog::supportsPrivateBrowsing(std::string_view bundleID) {
  return privateWindowOption(bundleID).has_value();
}

std::optional<std::string> BrowserCatalog::privateWindowOption(std::string_view bundleID) {
  const auto* found = std::ranges::find(privateBrowsingIDs, bundleID, &PrivateBrowsing::bundleID);
  return found == privateBrowsingIDs.end() ? std::nullopt : std::optional<std::string>(found->option);
}

std::optional<fs::path> BrowserCatalog::resolve(const RouteTarget& target, Workspace& workspace) {
  if (target.isProxyApp()) {
    const Registry registry = Registry::load();
    const auto found = std::ranges::find(registry.apps, target.bundleID(), &RegisteredApp::bundleID);
    return found != registry.apps.end() && found->isInPlace() ? std::optional<fs::path>(found->path) : std::nullopt;
  }
  if (isOurs(target.bundleID())) {
    Log::helper.error("refusing to route to ", target.bundleID(), ": that is us");
    return std::nullopt;
  }
  return workspace.urlForApplication(target.bundleID());
}

std::optional<std::string> BrowserCatalog::name(const RouteTarget& target, Workspace& workspace,
                                                ApplicationHandlers& handlers) {
  return displayName(resolve(target, workspace), handlers);
}

std::optional<fs::path> BrowserCatalog::lastResort(const RuleSet& set, Workspace& workspace,
                                                   ApplicationHandlers& handlers, RuleStore& rules) {
  const std::vector<BrowserEntry> browsers = installed(workspace, handlers, rules);
  const BrowserEntry* browser = lastResort(set, browsers);
  return browser == nullptr ? std::nullopt : std::optional<fs::path>(browser->path);
}

std::optional<std::string> BrowserCatalog::lastResortName(const RuleSet& set, Workspace& workspace,
                                                          ApplicationHandlers& handlers, RuleStore& rules) {
  return displayName(lastResort(set, workspace, handlers, rules), handlers);
}

const BrowserEntry* BrowserCatalog::lastResort(const RuleSet& set, const std::vector<BrowserEntry>& installed) {
  const auto isChosen = [&set](const BrowserEntry& browser) { return isOffered(browser, set); };
  for (const std::string_view bundleID : lastResortOrder) {
    const auto found = std::ranges::find(installed, bundleID, &BrowserEntry::bundleID);
    if (found != installed.end() && isChosen(*found)) return &*found;
  }
  const auto offered = std::ranges::find_if(installed, isChosen);
  if (offered != installed.end()) return &*offered;
  // All are switched off, but the link has to open somewhere.
  return installed.empty() ? nullptr : &installed.front();
}

bool BrowserCatalog::isOffered(const BrowserEntry& browser, const RuleSet& set) {
  const auto choice = set.browserChoices.find(browser.bundleID);
  return choice == set.browserChoices.end() ? browser.isKnownBrowser() : choice->second;
}

std::optional<std::string> BrowserCatalog::defaultBrowserBundleID(ApplicationHandlers& handlers) {
  return handlerOf(webLinks(), handlers);
}

bool BrowserCatalog::isDefaultBrowser(ApplicationHandlers& handlers) {
  return isHelperDefault(webLinks(), handlers);
}

void BrowserCatalog::requestDefaultBrowser(bool isDefault, Workspace& workspace, ApplicationHandlers& handlers,
                                           RuleStore& rules, const ApplicationHandlers::Completion& completion) {
  request({webLinks(), {Handled::Kind::scheme, "http"}}, isDefault, workspace, handlers, rules, completion);
}

std::vector<std::string> BrowserCatalog::handledFileTypes(ApplicationHandlers& handlers) {
  std::vector<std::string> types;
  for (const RoutableFileType& type : routableFileTypes) {
    if (handles(type.contentType, handlers)) types.emplace_back(type.contentType);
  }
  return types;
}

bool BrowserCatalog::handles(std::string_view contentType, ApplicationHandlers& handlers) {
  return isHelperDefault({Handled::Kind::contentType, std::string(contentType)}, handlers);
}

bool BrowserCatalog::handlesAnyFileType(ApplicationHandlers& handlers) {
  return !handledFileTypes(handlers).empty();
}

bool BrowserCatalog::handlesHTMLFiles(ApplicationHandlers& handlers) {
  return handles(routableFileTypes[0].contentType, handlers);
}

void BrowserCatalog::requestHandling(std::string_view contentType, bool enabled, Workspace& workspace,
                                     ApplicationHandlers& handlers, RuleStore& rules,
                                     const ApplicationHandlers::Completion& completion) {
  request({{Handled::Kind::contentType, std::string(contentType)}}, enabled, workspace, handlers, rules, completion);
}

}  // namespace corvana

std::size_t std::hash<corvana::BrowserEntry>::operator()(const corvana::BrowserEntry& entry) const noexcept {
  corvana::FieldHasher hasher;
  for (const std::string& field : {entry.bundleID, entry.name, entry.version, entry.path}) hasher.add(field);
  return hasher.value();
}
