#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/identity/url.h"
#include "core/routing/incoming_link.h"
#include "core/routing/link_parts.h"
#include "core/routing/rule_document.h"

namespace corvana {

/// Where a link goes by the rules: the rule that claims it and that rule's target, or neither.
struct RouteDecision {
  /// Shared, since a rule may be long; never changed.
  std::shared_ptr<const LinkRule> rule;
  std::optional<RouteTarget> target;

  bool isFallback() const { return rule == nullptr; }

  static RouteDecision of(std::shared_ptr<const LinkRule> rule) {
    const LinkRule& claiming = *rule;
    return {.rule = std::move(rule), .target = claiming.target};
  }

  bool operator==(const RouteDecision& other) const;
};

/// What rules mean, as a direct walk over the document. Pure functions but for the user's home directory, which "~/"
/// stands for; any thread. CompiledRules gives the same answers faster.
struct LinkRouter {
  LinkRouter() = delete;

  /// The folders that macOS keeps as links into "/private".
  static constexpr std::array<std::string_view, 3> privateSymlinks{"/tmp", "/var", "/etc"};

  /// Begins a pattern for a domain and all that is below it: "*.example.org".
  static constexpr std::string_view anySubdomain = "*.";

  /// The first enabled rule of the document that matches. Its fallback and the like are for the caller to apply.
  static RouteDecision decide(const URL& url, std::optional<std::string_view> sourceBundleID, const RuleSet& set);

  /// Whether the rule's conditions hold, enabled or not.
  static bool matches(const LinkRule& rule, const IncomingLink& link);
  static bool matches(const Condition& condition, const IncomingLink& link);
  /// Whether one of the condition's usable values is enough for it.
  static bool matches(Condition::Kind kind, std::string_view value, const IncomingLink& link);

  /// A pattern for files ("/tmp/*.pdf", "~/Downloads/*"), for hosts ("*.example.org") or, with a slash, for whole
  /// addresses ("example.org/docs/*").
  static bool matchesAddress(std::string_view pattern, const IncomingLink& link);
  /// `host` is in lower case.
  static bool matchesHost(std::string_view pattern, std::string_view host);

  static bool isFilePathPattern(std::string_view pattern);
  /// The pattern for files in the form that is compared: trimmed, with the home directory, canonical.
  static std::string expandedFilePattern(std::string_view pattern);
  /// Any other pattern in the form that is compared: trimmed, folded, without scheme and trailing slashes. Empty for
  /// one that never matches.
  static std::string expandedAddressPattern(std::string_view pattern);

  /// The link's host in lower case, its path and its query, decoded: "example.org/Docs/a?x=1". The host alone for the
  /// root of a site. Scheme, user information, port and fragment never count.
  static std::string address(const LinkParts& link);
  /// A file's canonical path, decoded.
  static std::string filePath(const LinkParts& file);
  /// "/private/tmp/x" for "/tmp/x".
  static std::string canonical(std::string path);
};

}  // namespace corvana

template <>
struct std::hash<corvana::RouteDecision> {
  std::size_t operator()(const corvana::RouteDecision& decision) const noexcept;
};
