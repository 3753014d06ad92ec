#include "core/routing/link_router.h"

#include <algorithm>

#include "core/identity/field_hasher.h"
#include "core/routing/glob.h"
#include "core/routing/white_space.h"
#include "platform/files/user_directories.h"
#include "platform/text/ascii.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

/// The path with the user's home directory in the place of a leading "~".
std::string expandingTilde(std::string_view path) {
  if (!path.starts_with("~/")) return std::string(path);
  std::string home = userDirectories::home().string();
  while (home.ends_with('/')) home.pop_back();
  return home.append(path.substr(1));
}

}  // namespace

bool RouteDecision::operator==(const RouteDecision& other) const {
  const bool sameRule = rule == other.rule || (rule && other.rule && *rule == *other.rule);
  return sameRule && target == other.target;
}

RouteDecision LinkRouter::decide(const URL& url, std::optional<std::string_view> sourceBundleID, const RuleSet& set) {
  const IncomingLink link(url, sourceBundleID);
  for (const LinkRule& rule : set.rules) {
    if (rule.isEnabled && matches(rule, link)) {
      return RouteDecision::of(std::make_shared<const LinkRule>(rule));
    }
  }
  return {};
}

bool LinkRouter::matches(const LinkRule& rule, const IncomingLink& link) {
  const auto holds = [&link](const Condition& condition) { return matches(condition, link); };
  const auto conditions = rule.usableConditions();
  if (conditions.empty()) return false;
  switch (rule.match) {
    case MatchMode::any:
      return std::ranges::any_of(conditions, holds);
    case MatchMode::all:
      return std::ranges::all_of(conditions, holds);
  }
  return false;
}

bool LinkRouter::matches(const Condition& condition, const IncomingLink& link) {
  return std::ranges::any_of(condition.usableValues(), [&condition, &link](std::string_view value) {
    return matches(condition.kind, value, link);
  });
}

bool LinkRouter::matches(Condition::Kind kind, std::string_view value, const IncomingLink& link) {
  switch (kind) {
    case Condition::Kind::addresses:
      return matchesAddress(value, link);
    case Condition::Kind::apps:
      return !link.source.empty() && text::folded(std::string(value)) == link.source;
  }
  return false;
}

bool LinkRouter::matchesAddress(std::string_view pattern, const IncomingLink& link) {
  if (isFilePathPattern(pattern)) {
    return link.isFile && Glob::matches(expandedFilePattern(pattern), link.filePath);
  }
  if (link.isFile) return false;
  const std::string expanded = expandedAddressPattern(pattern);
  if (expanded.empty()) return false;
  if (expanded.find('/') != std::string::npos) return Glob::matches(expanded, link.address);
  return !link.host.empty() && matchesHost(expanded, link.host);
}

bool LinkRouter::matchesHost(std::string_view pattern, std::string_view host) {
  return Glob::matches(pattern, host) ||
         (pattern.starts_with(anySubdomain) && Glob::matches(pattern.substr(anySubdomain.size()), host));
}

bool LinkRouter::isFilePathPattern(std::string_view pattern) {
  const std::string_view text = trimmed(pattern);
  return text.starts_with('/') || text.starts_with("~/");
}

std::string LinkRouter::expandedFilePattern(std::string_view pattern) {
  return canonical(expandingTilde(trimmed(pattern)));
}

std::string LinkRouter::expandedAddressPattern(std::string_view pattern) {
  std::string result = text::folded(std::string(trimmed(pattern)));
  constexpr std::string_view schemeEnd = "://";
  if (const std::size_t end = result.find(schemeEnd); end != std::string::npos) result.erase(0, end + schemeEnd.size());
  while (result.ends_with('/')) result.pop_back();
  return result;
}

std::string LinkRouter::address(const LinkParts& link) {
  std::string result;
  result.reserve(link.host.size() + link.path.size() + link.query.size() + 1);
  result = link.host;
  ascii::lowercase(result);
  if (link.path == "/" && link.query.empty()) return result;
  ascii::appendPercentDecoded(result, link.path);
  if (link.query.empty()) return result;
  result += '?';
  ascii::appendPercentDecoded(result, link.query);
  return result;
}

std::string LinkRouter::filePath(const LinkParts& file) {
  return canonical(ascii::percentDecoded(file.path));
}

std::string LinkRouter::canonical(std::string path) {
  for (const std::string_view folder : privateSymlinks) {
    if (path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/')) {
      return "/private" + path;
    }
  }
  return path;
}

}  // namespace corvana

std::size_t std::hash<corvana::RouteDecision>::operator()(const corvana::RouteDecision& decision) const noexcept {
  corvana::FieldHasher hasher;
  if (decision.rule) hasher.add(*decision.rule);
  hasher.add(decision.target);
  return hasher.value();
}
