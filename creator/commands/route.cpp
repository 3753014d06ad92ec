#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/browsers/browser_catalog.h"
#include "core/identity/json_coding.h"
#include "core/routing/link_parts.h"
#include "core/routing/route_choice.h"
#include "core/routing/route_explanation.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "creator/commands/rules_file.h"

namespace corvana::commands {
namespace {

struct Options {
  std::vector<std::string> urls;
  std::string source;
  std::filesystem::path rulesFile;
  bool asJSON = false;
};

/// Where a link goes, and what decided that.
struct Route {
  RouteChoice choice;
  /// The place of the rule that claimed the link.
  std::optional<std::size_t> rule;
  std::vector<RuleVerdict> verdicts;
};

Route routeOf(const URL& url, const std::string& source, const RuleSet& set, const RouteChoice::Find& find) {
  Route route{.choice = {}, .rule = {}, .verdicts = explainRoute(url, source, set)};
  const auto isMatch = [](const RuleVerdict& verdict) { return verdict.outcome == RuleVerdict::Outcome::matches; };
  const auto claiming = std::ranges::find_if(route.verdicts, isMatch);
  if (claiming != route.verdicts.end()) route.rule = static_cast<std::size_t>(claiming - route.verdicts.begin());
  const auto target = route.rule ? std::optional(set.rules[*route.rule].target) : std::nullopt;
  route.choice = RouteChoice::make(target, url.isFileURL(), set, find);
  return route;
}

std::string described(const RouteTarget& target) {
  if (target.isProxyApp()) return "proxy app " + target.bundleID();
  return "browser " + target.bundleID() + (target.isPrivate() ? ", in a private window" : "");
}

std::string described(RouteReason reason, const Route& route) {
  switch (reason) {
    case RouteReason::rule:
      return "rule " + std::to_string(*route.rule + 1);
    case RouteReason::localFileTarget:
      return "local files go there";
    case RouteReason::fallback:
      return "what no rule claims goes there";
    case RouteReason::lastResort:
      return route.choice.missing.empty() ? "no rule claims it" : "nothing else is there";
  }
  return {};
}

std::string described(const RuleVerdict& verdict, bool isLate) {
  switch (verdict.outcome) {
    case RuleVerdict::Outcome::matches:
      return (isLate ? "would match, comes too late: " : "matches: ") + verdict.reason();
    case RuleVerdict::Outcome::fails:
      return "does not match: " + verdict.reason();
    case RuleVerdict::Outcome::isOff:
      return "is off";
    case RuleVerdict::Outcome::hasNoConditions:
      return "has no conditions";
  }
  return {};
}

/// `lastResort` is that browser's name, if there is one.
void printRoute(const URL& url, const Route& route, const RuleSet& set, const std::optional<std::string>& lastResort) {
  const RouteChoice& choice = route.choice;
  const auto say = [](const std::string& text) { std::printf("%s\n", shown(text).c_str()); };
  say(url.absoluteString());
  for (const RouteChoice::Candidate& candidate : choice.missing) {
    say("  would go to " + described(candidate.target) + ", which is missing: " + described(candidate.reason, route));
  }
  const std::string browser = "the browser of last resort" + (lastResort ? ", " + *lastResort : "");
  say("  goes to " + (choice.target ? described(*choice.target) : browser) + ": " + described(choice.reason, route));
  if (!choice.target && !lastResort) {
    say("  (" + std::string(BrowserCatalog::CatalogError::noBrowserAvailable().what()) + ")");
  }
  if (!LinkParts::split(url)) say("  (no browser would open it: its host or port is not valid)");
  for (std::size_t place = 0; place < set.rules.size(); ++place) {
    say("  rule " + std::to_string(place + 1) + " \"" + set.rules[place].name + "\" " +
        described(route.verdicts[place], route.rule && *route.rule < place));
  }
}

nlohmann::json jsonOf(const URL& url, const Route& route, const RuleSet& set) {
  nlohmann::json rules = nlohmann::json::array();
  for (std::size_t place = 0; place < set.rules.size(); ++place) {
    nlohmann::json conditions = nlohmann::json::array();
    for (const ConditionVerdict& verdict : route.verdicts[place].conditions) {
      conditions.push_back(
          {{"kind", nameOf(verdict.kind)}, {"value", verdict.value ? encode(*verdict.value) : nullptr}});
    }
    rules.push_back({{"id", encode(set.rules[place].id)},
                     {"name", set.rules[place].name},
                     {"outcome", nameOf(route.verdicts[place].outcome)},
                     {"conditions", conditions}});
  }
  nlohmann::json missing = nlohmann::json::array();
  for (const RouteChoice::Candidate& candidate : route.choice.missing) {
    missing.push_back({{"reason", nameOf(candidate.reason)}, {"target", encode(candidate.target)}});
  }
  nlohmann::json result = {{"url", url.absoluteString()},
                           {"isValid", LinkParts::split(url).has_value()},
                           {"reason", nameOf(route.choice.reason)},
                           {"missing", missing},
                           {"rules", rules}};
  if (route.choice.target) result["target"] = encode(*route.choice.target);
  if (route.choice.application) result["application"] = route.choice.application->string();
  if (route.rule) result["ruleIndex"] = *route.rule;
  return result;
}

void route(const Options& options, const System& system) {
  const RuleSet set = RulesFile::read(options.rulesFile).set;
  const auto find = [&system](const RouteTarget& target) { return BrowserCatalog::resolve(target, system.workspace); };
  RuleStore rules;
  const auto lastResort = BrowserCatalog::lastResortName(set, system.workspace, system.handlers, rules);
  nlohmann::json results = nlohmann::json::array();
  for (const std::string& text : options.urls) {
    const auto url = URL::absolute(text);
    if (!url) {
      throw std::runtime_error("\"" + shown(text) +
                               "\" is no link: expected one that begins with a scheme, like https:");
    }
    const Route found = routeOf(*url, options.source, set, find);
    if (options.asJSON) {
      results.push_back(jsonOf(*url, found, set));
    } else {
      printRoute(*url, found, set, lastResort);
    }
  }
  if (options.asJSON) print(results);
}

}  // namespace

void addRoute(CLI::App& app, const System& system) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("route", "Show where links go by the rules, and why");
  command->footer("Example: corvana route https://example.org/ --from org.mozilla.thunderbird");
  command->add_option("url", options->urls, "The links")->required();
  command->add_option("--from", options->source, "The bundle identifier of the application that opens them");
  command->add_option("--rules", options->rulesFile, "The rules (default: the user's own)")->check(CLI::ExistingFile);
  command->add_flag("--json", options->asJSON, "Print JSON");
  command->callback([options, &system] { route(*options, system); });
}

}  // namespace corvana::commands
