#include "core/routing/route_explanation.h"

#include "core/routing/link_router.h"

namespace corvana {
namespace {

ConditionVerdict verdictOf(const Condition& condition, const IncomingLink& link) {
  for (const std::string_view value : condition.usableValues()) {
    if (LinkRouter::matches(condition.kind, value, link)) return {condition.kind, std::string(value)};
  }
  return {condition.kind, std::nullopt};
}

RuleVerdict verdictOf(const LinkRule& rule, const IncomingLink& link) {
  if (!rule.isEnabled) return {RuleVerdict::Outcome::isOff, {}};
  if (rule.matchesNothing()) return {RuleVerdict::Outcome::hasNoConditions, {}};
  // The verdict on one condition that settles the rule: a match where any is enough, a failure where all are needed.
  const bool settlingMatch = rule.match == MatchMode::any;
  std::vector<ConditionVerdict> verdicts;
  for (const Condition& condition : rule.usableConditions()) {
    verdicts.push_back(verdictOf(condition, link));
    if (verdicts.back().value.has_value() == settlingMatch) {
      return {settlingMatch ? RuleVerdict::Outcome::matches : RuleVerdict::Outcome::fails, {verdicts.back()}};
    }
  }
  return {settlingMatch ? RuleVerdict::Outcome::fails : RuleVerdict::Outcome::matches, std::move(verdicts)};
}

}  // namespace

std::string RuleVerdict::reason() const {
  std::string text;
  for (const ConditionVerdict& verdict : conditions) {
    if (!text.empty()) text += outcome == Outcome::matches ? " and " : ", ";
    text += verdict.value ? std::string(noun(verdict.kind, 1)) + " " + *verdict.value
                          : "none of its " + std::string(noun(verdict.kind, 2));
  }
  return text;
}

std::vector<RuleVerdict> explainRoute(const URL& url, std::optional<std::string_view> sourceBundleID,
                                      const RuleSet& set) {
  const IncomingLink link(url, sourceBundleID);
  std::vector<RuleVerdict> verdicts;
  for (const LinkRule& rule : set.rules) verdicts.push_back(verdictOf(rule, link));
  return verdicts;
}

}  // namespace corvana
