#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/routing/rule_document.h"
#include "core/routing/rule_store.h"
#include "platform/desktop/application_handlers.h"
#include "platform/desktop/workspace.h"

namespace corvana {

/// An installed browser.
struct BrowserEntry {
  std::string bundleID;
  std::string name;
  /// Empty when the application does not say.
  std::string version;
  std::string path;

  bool isKnownBrowser() const;

  bool operator==(const BrowserEntry&) const = default;
};

/// Which browsers there are, which one stands behind a target, and which takes a link when nothing else does; and what
/// the system hands to the helper. Main thread; calls read files.
struct BrowserCatalog {
  BrowserCatalog() = delete;

  class CatalogError : public std::runtime_error {
   public:
    static CatalogError noBrowserAvailable() { return CatalogError("no browser available to hand links to"); }

   private:
    using std::runtime_error::runtime_error;
  };

  static constexpr std::string_view safariBundleID = "com.apple.Safari";

  /// A type of file that the helper can be the handler of, with its name for users.
  struct RoutableFileType {
    std::string_view contentType;
    std::string_view label;
  };
  static constexpr std::array<RoutableFileType, 3> routableFileTypes{
      {{"public.html", "HTML pages"}, {"public.svg-image", "SVG images"}, {"com.apple.webarchive", "Web archives"}}};

  /// The installed browsers in catalog order: those that the system knows as handlers of web links, and the additional
  /// ones; the product's own applications are none.
  static std::vector<BrowserEntry> installed(Workspace& workspace, ApplicationHandlers& handlers, RuleStore& rules);
  static std::vector<BrowserEntry> installed(Workspace& workspace, ApplicationHandlers& handlers,
                                             const std::vector<std::string>& additionalIDs);
  /// Safari first, then by name as a file manager sorts.
  static std::vector<BrowserEntry> ordered(std::vector<BrowserEntry> browsers);

  static bool isOurs(std::string_view bundleID);
  static bool supportsPrivateBrowsing(std::string_view bundleID);
  /// The option by which a browser opens links in a private window; nothing where that is not supported.
  static std::optional<std::string> privateWindowOption(std::string_view bundleID);

  /// The application behind a target; nothing when it is not there, or when the target is the product itself, which is
  /// logged.
  static std::optional<std::filesystem::path> resolve(const RouteTarget& target, Workspace& workspace);
  static std::optional<std::string> name(const RouteTarget& target, Workspace& workspace,
                                         ApplicationHandlers& handlers);

  /// The browser that takes a link when no rule and no fallback does; nothing when there is no browser at all, which
  /// callers report as CatalogError::noBrowserAvailable.
  static std::optional<std::filesystem::path> lastResort(const RuleSet& set, Workspace& workspace,
                                                         ApplicationHandlers& handlers, RuleStore& rules);
  static std::optional<std::string> lastResortName(const RuleSet& set, Workspace& workspace,
                                                   ApplicationHandlers& handlers, RuleStore& rules);
  /// The same choice among browsers in catalog order; null when there are none.
  static const BrowserEntry* lastResort(const RuleSet& set, const std::vector<BrowserEntry>& installed);
  /// Whether the user wants to see the browser: by choice, or without one if it is a known browser.
  static bool isOffered(const BrowserEntry& browser, const RuleSet& set);

  static std::optional<std::string> defaultBrowserBundleID(ApplicationHandlers& handlers);
  static bool isDefaultBrowser(ApplicationHandlers& handlers);
  /// Asks the system to make the helper the default browser, or for false to hand that back to the browser of last
  /// resort. `completion` is called once, maybe inside the call, with what went wrong or nothing; `handlers` must last
  /// until then.
  static void requestDefaultBrowser(bool isDefault, Workspace& workspace, ApplicationHandlers& handlers,
                                    RuleStore& rules, const ApplicationHandlers::Completion& completion);

  /// The content types of the routable ones that the helper is the handler of.
  static std::vector<std::string> handledFileTypes(ApplicationHandlers& handlers);
  static bool handles(std::string_view contentType, ApplicationHandlers& handlers);
  static bool handlesAnyFileType(ApplicationHandlers& handlers);
  static bool handlesHTMLFiles(ApplicationHandlers& handlers);
  /// Asks the system to make the helper the handler of the type, or the browser of last resort where the helper is to
  /// be it no more. `completion` as above.
  static void requestHandling(std::string_view contentType, bool enabled, Workspace& workspace,
                              ApplicationHandlers& handlers, RuleStore& rules,
                              const ApplicationHandlers::Completion& completion);
};

}  // namespace corvana

template <>
struct std::hash<corvana::BrowserEntry> {
  std::size_t operator()(const corvana::BrowserEntry& entry) const noexcept;
};
