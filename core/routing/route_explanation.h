#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/identity/url.h"
#include "core/routing/rule_document.h"

namespace corvana {

/// How a condition fared with a link.
struct ConditionVerdict {
  Condition::Kind kind;
  /// The value that matched; nothing when none did.
  std::optional<std::string> value;
};

/// How a rule fared, whether or not one before it had claimed the link already.
struct RuleVerdict {
  enum class Outcome { matches, fails, isOff, hasNoConditions };

  Outcome outcome;
  /// What decided: the first condition that matched where any is enough; the first that failed, or else all of them,
  /// where all are needed; all where none is enough.
  std::vector<ConditionVerdict> conditions;

  /// "address *.example.org and source app com.apple.mail", "none of its source apps".
  std::string reason() const;
};

template <>
struct EnumNames<RuleVerdict::Outcome> {
  static constexpr std::array<EnumName<RuleVerdict::Outcome>, 4> rows{
      {{RuleVerdict::Outcome::matches, "matches"},
       {RuleVerdict::Outcome::fails, "fails"},
       {RuleVerdict::Outcome::isOff, "isOff"},
       {RuleVerdict::Outcome::hasNoConditions, "hasNoConditions"}}};
};

/// For people who wonder where a link goes: how each rule of a document fares with it, by what LinkRouter says. The
/// first that matches claims it. Any thread.
std::vector<RuleVerdict> explainRoute(const URL& url, std::optional<std::string_view> sourceBundleID,
                                      const RuleSet& set);

}  // namespace corvana
