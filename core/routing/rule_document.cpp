#include "core/routing/rule_document.h"

#include <algorithm>
#include <iterator>

#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"
#include "core/routing/white_space.h"

namespace corvana {
namespace {

/// All fields but the identifier, which a document may leave out.
void fields(auto& rule, auto& visitor) requires requires {
  rule.conditions;
}
{
  visitor.defaulted("name", rule.name);
  visitor.required("target", rule.target);
  visitor.defaulted("isEnabled", rule.isEnabled);
  visitor.defaulted("match", rule.match);
  visitor.defaulted("conditions", rule.conditions);
}

void fields(auto& set, auto& visitor) requires requires {
  set.rules;
}
{
  visitor.defaulted("version", set.version);
  visitor.defaulted("rules", set.rules);
  visitor.optional("fallback", set.fallback);
  visitor.optional("localFileTarget", set.localFileTarget);
  visitor.defaulted("recordsHistory", set.recordsHistory);
  visitor.defaulted("browserChoices", set.browserChoices);
  visitor.defaulted("handlesHTMLFiles", set.handlesHTMLFiles);
  visitor.defaulted("additionalBrowserIDs", set.additionalBrowserIDs);
}

/// Merges each condition into the one before it when both are of one kind.
std::vector<Condition> coalesced(std::vector<Condition> conditions) {
  std::vector<Condition> result;
  for (Condition& condition : conditions) {
    if (!result.empty() && result.back().kind == condition.kind) {
      std::ranges::move(condition.values, std::back_inserter(result.back().values));
    } else {
      result.push_back(std::move(condition));
    }
  }
  return result;
}

}  // namespace

// The codecs of the records inside a document.

void decode(const nlohmann::json& value, Condition& result) {
  FieldReader reader(value);
  std::optional<Condition::Kind> kind;
  reader.optional("kind", kind);
  if (kind) {
    result.kind = *kind;
    reader.defaulted("values", result.values);
    return;
  }
  // The form of earlier versions, which had one pattern in each condition, and a field of the link that it was for.
  std::string field = "host";
  std::string pattern;
  reader.defaulted("field", field);
  reader.defaulted("patterns", result.values);
  reader.defaulted("pattern", pattern);
  result.kind = field == "fromApp" ? Condition::Kind::apps : Condition::Kind::addresses;
  if (!pattern.empty()) result.values.push_back(std::move(pattern));
}

nlohmann::json encode(const Condition& condition) {
  FieldWriter writer;
  writer.required("kind", condition.kind);
  writer.required("values", condition.values);
  return writer.take();
}

void decode(const nlohmann::json& value, LinkRule& result) {
  FieldReader reader(value);
  std::optional<UUID> id;
  reader.optional("id", id);
  result.id = id ? *id : UUID::random();
  fields(result, reader);
  result.conditions = coalesced(std::move(result.conditions));
}

nlohmann::json encode(const LinkRule& rule) {
  FieldWriter writer;
  writer.required("id", rule.id);
  fields(rule, writer);
  return writer.take();
}

std::string_view title(MatchMode mode) {
  switch (mode) {
    case MatchMode::any:
      return "Any Condition";
    case MatchMode::all:
      return "All Conditions";
  }
  return {};
}

std::string_view title(Condition::Kind kind) {
  switch (kind) {
    case Condition::Kind::addresses:
      return "Addresses";
    case Condition::Kind::apps:
      return "Source Apps";
  }
  return {};
}

std::string_view noun(Condition::Kind kind, std::size_t count) {
  switch (kind) {
    case Condition::Kind::addresses:
      return count == 1 ? "address" : "addresses";
    case Condition::Kind::apps:
      return count == 1 ? "source app" : "source apps";
  }
  return {};
}

std::vector<std::string_view> Condition::usableValues() const {
  std::vector<std::string_view> result;
  for (const std::string& value : values) {
    if (const std::string_view usable = trimmed(value); !usable.empty()) result.push_back(usable);
  }
  return result;
}

std::string Condition::text() const {
  std::string result;
  for (const std::string_view value : usableValues()) result.append(result.empty() ? "" : "\n").append(value);
  return result;
}

std::vector<std::string> Condition::valuesFromText(std::string_view text) {
  std::vector<std::string> result;
  for (const std::string_view line : lines(text)) {
    if (const std::string_view value = trimmed(line); !value.empty()) result.emplace_back(value);
  }
  return result;
}

std::string Condition::summary() const {
  const std::size_t count = usableValues().size();
  return std::to_string(count).append(" ").append(noun(kind, count));
}

std::vector<std::reference_wrapper<const Condition>> LinkRule::usableConditions() const {
  std::vector<std::reference_wrapper<const Condition>> result;
  for (const Condition& condition : conditions) {
    if (!condition.isEmpty()) result.emplace_back(condition);
  }
  return result;
}

std::string LinkRule::conditionSummary() const {
  std::string result;
  for (const Condition& condition : usableConditions()) {
    if (!result.empty()) result += match == MatchMode::all ? " and " : " or ";
    result += condition.summary();
  }
  return result.empty() ? "No conditions" : result;
}

RuleSet RuleSet::parse(std::string_view text) {
  const nlohmann::json document = parseJSON(text);
  RuleSet set;
  FieldReader reader(document);
  fields(set, reader);
  return set;
}

std::string RuleSet::documentText() const {
  FieldWriter writer;
  fields(*this, writer);
  return corvana::documentText(writer.take());
}

std::size_t RuleSet::enabledRuleCount() const {
  return static_cast<std::size_t>(std::ranges::count(rules, true, &LinkRule::isEnabled));
}

std::string RuleSet::summary() const {
  if (rules.empty()) return "No rules yet";
  const std::string enabled = std::to_string(enabledRuleCount());
  if (enabledRuleCount() == rules.size()) {
    return enabled + (rules.size() == 1 ? " rule" : " rules") + " enabled, first match wins";
  }
  return enabled + " of " + std::to_string(rules.size()) + " rules enabled, first match wins";
}

}  // namespace corvana

std::size_t std::hash<corvana::Condition>::operator()(const corvana::Condition& condition) const noexcept {
  corvana::FieldHasher hasher;
  hasher.add(condition.kind);
  hasher.add(condition.values);
  return hasher.value();
}

std::size_t std::hash<corvana::LinkRule>::operator()(const corvana::LinkRule& rule) const noexcept {
  corvana::FieldHasher hasher;
  hasher.add(rule.id);
  corvana::fields(rule, hasher);
  return hasher.value();
}

std::size_t std::hash<corvana::RuleSet>::operator()(const corvana::RuleSet& set) const noexcept {
  corvana::FieldHasher hasher;
  corvana::fields(set, hasher);
  return hasher.value();
}
