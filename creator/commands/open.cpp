#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/browsers/browser_catalog.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "helper/link_handler.h"

namespace corvana::commands {
namespace {

struct Options {
  std::vector<std::string> urls;
  std::string source;
  bool isDry = false;
};

/// Says on the terminal what the desktop would be told.
class TerminalNotifications final : public UserNotifications {
 public:
  bool hasTold = false;

  void setTapHandler(std::function<void()>) override {}
  void post(const std::string& title, const std::string& body) override {
    hasTold = true;
    std::fprintf(stderr, "corvana: %s: %s\n", title.c_str(), shown(body).c_str());
  }
};

void showRoutes(const Options& options, const System& system) {
  RuleStore rules;
  const auto set = rules.current();
  for (const std::string& text : options.urls) {
    const URL url = *URL::absolute(text);
    const RouteDecision decision = rules.decide(url, options.source);
    std::string target;
    for (const auto& candidate : LinkHandler::candidatesFor(url, decision, *set)) {
      const auto name = candidate ? BrowserCatalog::name(*candidate, system.workspace, system.handlers)
                                  : BrowserCatalog::lastResortName(*set, system.workspace, system.handlers, rules);
      if (name) {
        target = *name + (candidate && candidate->isPrivate() ? ", in a private window" : "");
        break;
      }
      if (candidate) std::printf("%s: %s is missing\n", shown(text).c_str(), candidate->bundleID().c_str());
    }
    if (target.empty()) target = BrowserCatalog::CatalogError::noBrowserAvailable().what();
    std::printf("%s: %s\n", shown(text).c_str(), shown(target).c_str());
  }
}

void open(const Options& options, const System& system) {
  for (const std::string& text : options.urls) {
    if (URL::absolute(text)) continue;
    throw std::runtime_error("\"" + text + "\" is no link: expected one that begins with a scheme, like https:");
  }
  if (options.isDry) return showRoutes(options, system);
  if (system.handToHelper(options.urls, options.source)) return;
  // Nobody does it for us.
  RuleStore rules;
  RecentLinksStore history;
  TerminalNotifications notifications;
  LinkHandler handler({.mainQueue = system.mainQueue,
                       .clock = system.clock,
                       .workspace = system.workspace,
                       .handlers = system.handlers,
                       .notifications = notifications,
                       .rules = rules,
                       .history = history},
                      nullptr);
  std::optional<OpeningSource> source;
  if (!options.source.empty()) source = OpeningSource{.bundleIdentifier = options.source, .name = ""};
  handler.open(options.urls, source);
  system.runUntil([&handler] { return handler.isIdle(); });
  handler.finish();
  if (notifications.hasTold) throw std::runtime_error("not all links could be opened");
}

}  // namespace

void addOpen(CLI::App& app, const System& system) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("open", "Open links where the rules say, as a click would");
  command->footer("Example: corvana open https://example.org/ --from org.mozilla.thunderbird");
  command->add_option("url", options->urls, "The links")->required();
  command->add_option("--from", options->source, "The bundle identifier of the application that opens them");
  command->add_flag("--dry-run", options->isDry, "Only show where they would go");
  command->callback([options, &system] { open(*options, system); });
}

}  // namespace corvana::commands
