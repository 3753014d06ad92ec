#include "core/routing/rule_check.h"

#include <map>
#include <optional>

#include "core/routing/link_router.h"
#include "platform/ascii.h"
#include "platform/domain_names.h"

namespace corvana {
namespace {

/// Why no link can ever match the pattern.
std::optional<std::string> whyItNeverMatches(std::string_view pattern) {
  if (LinkRouter::isFilePathPattern(pattern)) return std::nullopt;
  const std::string expanded = LinkRouter::expandedAddressPattern(pattern);
  if (expanded.empty()) return "it has neither host nor path";
  if (expanded.find('#') != std::string::npos) return "fragments (#...) are not compared";
  const std::size_t slash = expanded.find('/');
  const std::string host = expanded.substr(0, slash);
  if (!ascii::isASCII(host)) {
    const auto name = domainToASCII(host.starts_with("*.") ? host.substr(2) : host);
    return "hosts are compared in ASCII" +
           (name ? "; write " + std::string(host.starts_with("*.") ? "*." : "") + *name : "");
  }
  if (host.find('@') != std::string::npos && slash == std::string::npos) return "user names are not compared";
  if (host.find(':') != std::string::npos && !host.starts_with('[') && host.find('*') == std::string::npos) {
    return "ports are not compared";
  }
  if (host.find_first_of(" \t<>^|\\%") != std::string::npos && slash == std::string::npos) {
    return "no host has such a character";
  }
  return std::nullopt;
}

}  // namespace

std::vector<RuleWarning> checkRules(const RuleSet& set) {
  std::vector<RuleWarning> warnings;
  std::map<std::string, std::size_t> places;
  for (std::size_t place = 0; place < set.rules.size(); ++place) {
    const LinkRule& rule = set.rules[place];
    if (rule.matchesNothing()) warnings.push_back({place, "has no conditions and never matches"});
    for (const Condition& condition : rule.usableConditions()) {
      if (condition.kind != Condition::Kind::addresses) continue;
      for (const std::string_view value : condition.usableValues()) {
        if (const auto reason = whyItNeverMatches(value)) {
          warnings.push_back({place, "\"" + std::string(value) + "\" never matches: " + *reason});
        }
      }
    }
    const auto [first, isNew] = places.try_emplace(rule.id.string(), place);
    if (!isNew) warnings.push_back({place, "has the id of rule " + std::to_string(first->second + 1)});
  }
  return warnings;
}

}  // namespace corvana
