#include "core/routing/rule_check.h"

#include <algorithm>
#include <map>

#include "core/routing/link_router.h"
#include "platform/text/ascii.h"
#include "platform/text/domain_names.h"

namespace corvana {
namespace {

/// Whether the text could be of an IPv6 address, the only host with colons.
bool mayBeIPv6(std::string_view host) {
  return std::ranges::all_of(
      host, [](char c) { return ascii::hexadecimalValue(c) >= 0 || c == ':' || c == '[' || c == ']' || c == '*'; });
}

std::optional<std::string> whyNoHostMatches(std::string_view host) {
  const bool isForDomain = host.starts_with(LinkRouter::anySubdomain);
  const std::string_view domain = isForDomain ? host.substr(LinkRouter::anySubdomain.size()) : host;
  if (!ascii::isASCII(domain)) {
    const auto name = domain.find('*') == std::string_view::npos ? domainToASCII(domain) : std::nullopt;
    const std::string prefix(isForDomain ? LinkRouter::anySubdomain : "");
    return "hosts are compared in ASCII" + (name ? "; write " + prefix + *name : "");
  }
  if (host.find(':') != std::string_view::npos && !mayBeIPv6(host)) return "ports are not compared";
  if (host.find('@') != std::string_view::npos) return "user names are not compared";
  if (host.find_first_of(" \t<>^|\\#?") != std::string_view::npos) return "no host has such a character";
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
        if (const auto reason = whyNoWebLinkMatches(value)) {
          warnings.push_back({place, "\"" + std::string(value) + "\" matches no web link: " + *reason});
        }
      }
    }
    const auto [first, isNew] = places.try_emplace(rule.id.string(), place);
    if (!isNew) warnings.push_back({place, "has the id of rule " + std::to_string(first->second + 1)});
  }
  return warnings;
}

std::optional<std::string> whyNoWebLinkMatches(std::string_view pattern) {
  if (LinkRouter::isFilePathPattern(pattern)) return std::nullopt;
  const std::string expanded = LinkRouter::expandedAddressPattern(pattern);
  const std::size_t slash = expanded.find('/');
  const std::string host = expanded.substr(0, slash);
  if (host.empty()) return "it has no host; write the path alone for a file";
  // Before a slash, a star may stand for a host and more.
  const bool isOpen = slash != std::string::npos && host.find('*') != std::string::npos;
  return isOpen ? std::nullopt : whyNoHostMatches(host);
}

}  // namespace corvana
