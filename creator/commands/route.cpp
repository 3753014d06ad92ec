#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/identity/json_coding.h"
#include "core/routing/link_parts.h"
#include "core/routing/route_explanation.h"
#include "creator/commands/commands.h"
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
  std::optional<RouteTarget> target;
  /// The place of the rule that claimed the link.
  std::optional<std::size_t> rule;
  std::vector<RuleVerdict> verdicts;
};

Route routeOf(const URL& url, const std::string& source, const RuleSet& set) {
  Route route{.target = set.fallback, .rule = {}, .verdicts = explainRoute(url, source, set)};
  if (url.isFileURL() && set.localFileTarget) route.target = set.localFileTarget;
  for (std::size_t place = 0; place < set.rules.size(); ++place) {
    if (route.verdicts[place].outcome != RuleVerdict::Outcome::matches) continue;
    route.rule = place;
    route.target = set.rules[place].target;
    break;
  }
  return route;
}

std::string described(const std::optional<RouteTarget>& target) {
  if (!target) return "the browser of last resort";
  if (target->isProxyApp()) return "proxy app " + target->bundleID();
  return "browser " + target->bundleID() + (target->isPrivate() ? ", in a private window" : "");
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

void print(const URL& url, const Route& route, const RuleSet& set) {
  std::printf("%s\n  goes to %s: %s\n", url.absoluteString().c_str(), described(route.target).c_str(),
              route.rule ? ("rule " + std::to_string(*route.rule + 1)).c_str() : "no rule claims it");
  if (!LinkParts::split(url)) std::printf("  (no browser would open it: its host or port is not valid)\n");
  for (std::size_t place = 0; place < set.rules.size(); ++place) {
    std::printf("  rule %zu \"%s\" %s\n", place + 1, set.rules[place].name.c_str(),
                described(route.verdicts[place], route.rule && *route.rule < place).c_str());
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
  nlohmann::json result = {
      {"url", url.absoluteString()}, {"isValid", LinkParts::split(url).has_value()}, {"rules", rules}};
  if (route.target) result["target"] = encode(*route.target);
  if (route.rule) result["ruleIndex"] = *route.rule;
  return result;
}

void route(const Options& options) {
  const RuleSet set = RulesFile::read(options.rulesFile).set;
  nlohmann::json results = nlohmann::json::array();
  for (const std::string& text : options.urls) {
    const auto url = URL::absolute(text);
    if (!url) {
      throw std::runtime_error("\"" + text + "\" is no link: expected one that begins with a scheme, like https:");
    }
    const Route found = routeOf(*url, options.source, set);
    if (options.asJSON) {
      results.push_back(jsonOf(*url, found, set));
    } else {
      print(*url, found, set);
    }
  }
  if (options.asJSON) std::fputs(documentText(results).c_str(), stdout);
}

}  // namespace

void addRoute(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("route", "Show where links go by the rules, and why");
  command->footer("Example: corvana route https://example.org/ --from org.mozilla.thunderbird");
  command->add_option("url", options->urls, "The links")->required();
  command->add_option("--from", options->source, "The bundle identifier of the application that opens them");
  command->add_option("--rules", options->rulesFile, "The rules (default: the user's own)")->check(CLI::ExistingFile);
  command->add_flag("--json", options->asJSON, "Print JSON");
  command->callback([options] { route(*options); });
}

}  // namespace corvana::commands
