#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/enum_names.h"
#include "core/identity/uuid.h"
#include "core/routing/route_target.h"

/// The user's routing configuration, the content of "rules.json". Values without behaviour; what a pattern means is
/// LinkRouter's business.
namespace corvana {

/// How a rule's conditions combine.
enum class MatchMode { any, all };

template <>
struct EnumNames<MatchMode> {
  static constexpr std::array<EnumName<MatchMode>, 2> rows{{{MatchMode::any, "any"}, {MatchMode::all, "all"}}};
};

/// The mode's name for users.
std::string_view title(MatchMode mode);

/// One test of a rule.
struct Condition {
  /// What is looked at: the link's address, or the bundle identifier of the app that opened it.
  enum class Kind { addresses, apps };

  Kind kind = Kind::addresses;
  /// Patterns or bundle identifiers, as the user typed them. Any of them is enough.
  std::vector<std::string> values;

  /// The values that are more than white space, trimmed of it. They live as long as the condition is unchanged.
  std::vector<std::string_view> usableValues() const;
  bool isEmpty() const { return usableValues().empty(); }

  /// The usable values one a line, for editing, and back.
  std::string text() const;
  static std::vector<std::string> valuesFromText(std::string_view text);

  /// "1 address", "3 source apps".
  std::string summary() const;

  bool operator==(const Condition&) const = default;
};

template <>
struct EnumNames<Condition::Kind> {
  static constexpr std::array<EnumName<Condition::Kind>, 2> rows{
      {{Condition::Kind::addresses, "addresses"}, {Condition::Kind::apps, "apps"}}};
};

/// For users: the kind's name, and what that many of its values are called.
std::string_view title(Condition::Kind kind);
std::string_view noun(Condition::Kind kind, std::size_t count);

struct LinkRule {
  /// Stays the same when the rule is renamed or edited; the history refers to it.
  UUID id;
  std::string name = "Rule";
  RouteTarget target;
  bool isEnabled = true;
  MatchMode match = MatchMode::any;
  std::vector<Condition> conditions;

  /// The conditions that are not empty. They live as long as the rule is unchanged.
  std::vector<std::reference_wrapper<const Condition>> usableConditions() const;
  /// Whether there is no usable condition; such a rule never matches.
  bool matchesNothing() const { return usableConditions().empty(); }
  /// "2 addresses or 1 source app".
  std::string conditionSummary() const;

  bool operator==(const LinkRule&) const = default;
};

struct RuleSet {
  std::int64_t version = 1;
  /// The first that matches wins.
  std::vector<LinkRule> rules;
  /// Where links go that no rule matches; the catalog's browser of last resort when absent.
  std::optional<RouteTarget> fallback;
  /// Where links to local files go; like any other link when absent.
  std::optional<RouteTarget> localFileTarget;
  bool recordsHistory = true;
  /// Browsers that the user chose to show or to hide.
  std::map<std::string, bool> browserChoices;
  /// The helper offers itself for HTML and related files.
  bool handlesHTMLFiles = false;
  /// Browsers that the user added to those that are known.
  std::vector<std::string> additionalBrowserIDs;

  /// From a document's text. A missing key has its default; conditions may have the form of older documents, and
  /// neighbours of one kind become one. Throws DecodingError, which says where.
  static RuleSet parse(std::string_view text);
  std::string documentText() const;

  std::size_t enabledRuleCount() const;
  /// "2 of 5 rules enabled, first match wins".
  std::string summary() const;

  bool operator==(const RuleSet&) const = default;
};

}  // namespace corvana

template <>
struct std::hash<corvana::Condition> {
  std::size_t operator()(const corvana::Condition& condition) const noexcept;
};
template <>
struct std::hash<corvana::LinkRule> {
  std::size_t operator()(const corvana::LinkRule& rule) const noexcept;
};
template <>
struct std::hash<corvana::RuleSet> {
  std::size_t operator()(const corvana::RuleSet& set) const noexcept;
};
