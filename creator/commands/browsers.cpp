#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "core/browsers/browser_catalog.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

/// Why this one would take a link that nothing else takes.
std::string reasonFor(const BrowserEntry& lastResort, const RuleSet& set) {
  if (!BrowserCatalog::isOffered(lastResort, set)) return "all browsers are switched off; the first takes the link";
  if (lastResort.bundleID == Corvana::chromeBundleID) return "it is the browser that the product serves";
  if (lastResort.bundleID == BrowserCatalog::safariBundleID) return "it comes with the system";
  return "it is the first of those that are offered";
}

void list(bool asJSON, const System& system) {
  ApplicationHandlers& handlers = system.handlers;
  RuleStore rules;
  const auto set = rules.current();
  const auto browsers = BrowserCatalog::installed(system.workspace, handlers, rules);
  const BrowserEntry* lastResort = BrowserCatalog::lastResort(*set, browsers);
  const auto defaultID = BrowserCatalog::defaultBrowserBundleID(handlers);

  Table table{.headings = {"NAME", "IDENTIFIER", "PRIVATE WINDOWS", "STATUS"}, .rows = {}};
  nlohmann::json entries = nlohmann::json::array();
  for (const BrowserEntry& browser : browsers) {
    const bool isDefault = defaultID == browser.bundleID;
    const bool isOffered = BrowserCatalog::isOffered(browser, *set);
    const bool isPrivate = BrowserCatalog::supportsPrivateBrowsing(browser.bundleID);
    std::string status = isOffered ? "" : "switched off";
    for (const auto& [holds, text] :
         {std::pair(isDefault, "default"), std::pair(&browser == lastResort, "last resort")}) {
      if (holds) status.append(status.empty() ? "" : ", ").append(text);
    }
    table.rows.push_back({browser.name, browser.bundleID, isPrivate ? "yes" : "no", status});
    entries.push_back({{"bundleID", browser.bundleID},
                       {"name", browser.name},
                       {"version", browser.version},
                       {"path", browser.path},
                       {"isKnownBrowser", browser.isKnownBrowser()},
                       {"isOffered", isOffered},
                       {"isDefault", isDefault},
                       {"isLastResort", &browser == lastResort},
                       {"supportsPrivateBrowsing", isPrivate}});
  }
  if (asJSON) return print(entries);
  print(table, BrowserCatalog::CatalogError::noBrowserAvailable().what());
  if (lastResort != nullptr) {
    std::printf("\nThe last resort is %s: %s.\n", shown(lastResort->name).c_str(),
                reasonFor(*lastResort, *set).c_str());
  }
  const auto types = BrowserCatalog::handledFileTypes(handlers);
  std::printf("The helper is %sthe default browser and opens %zu of %zu types of web files.\n",
              BrowserCatalog::isDefaultBrowser(handlers) ? "" : "not ", types.size(),
              BrowserCatalog::routableFileTypes.size());
}

}  // namespace

void addBrowsers(CLI::App& app, const System& system) {
  const auto asJSON = std::make_shared<bool>(false);
  CLI::App* command = app.add_subcommand("browsers", "List the installed browsers");
  command->add_flag("--json", *asJSON, "Print JSON");
  command->callback([asJSON, &system] { list(*asJSON, system); });
}

}  // namespace corvana::commands
