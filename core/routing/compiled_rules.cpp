#include "core/routing/compiled_rules.h"

#include <algorithm>
#include <utility>

#include "core/routing/glob.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

bool hasWildcard(std::string_view pattern) {
  return pattern.find('*') != std::string_view::npos;
}

bool needsSeveral(const LinkRule& rule) {
  return rule.match == MatchMode::all && rule.usableConditions().size() > 1;
}

std::size_t bytesOfValues(const RuleSet& set) {
  std::size_t bytes = 0;
  for (const LinkRule& rule : set.rules) {
    for (const Condition& condition : rule.conditions) {
      for (const std::string& value : condition.values) bytes += value.size() + 1;
    }
  }
  return bytes;
}

}  // namespace

/// One link's way through the tables, with the first rule that was found so far.
class CompiledRules::Search {
 public:
  Search(const CompiledRules& rules, const IncomingLink& link) : rules_(rules), link_(link) {}

  /// Null when no rule was found.
  const LinkRule* result() const { return best_ == none ? nullptr : &rules_.document_->rules[best_]; }

  void lookUp(const TriggerTable& table, std::string_view key) {
    if (table.empty()) return;
    const auto found = table.find(key);
    if (found == table.end()) return;
    for (std::uint32_t i = found->second.first; i != none; i = rules_.triggers_[i].next) {
      if (consider(rules_.triggers_[i])) return;
    }
  }

  void lookUp(const WildcardPatterns& patterns, std::string_view text) {
    if (patterns.entries.empty()) return;
    const bool isPlain = Glob::isPlain(text);
    const std::vector<std::string> characters = isPlain ? std::vector<std::string>() : Glob::charactersOf(text);
    patterns.table.visitCandidates(text, [&](std::uint32_t number) {
      const WildcardPatterns::Entry& entry = patterns.entries[number];
      if (entry.trigger.rule >= best_) return;
      if (entry.isForHost ? matchesHost(entry.pattern)
                          : Glob::matchesBytes(entry.pattern, text) &&
                                (isPlain || Glob::matchesCharacters(entry.pattern, characters))) {
        consider(entry.trigger);
      }
    });
  }

 private:
  bool matchesHost(std::string_view pattern) const {
    return !link_.host.empty() && Glob::matchesBytes(pattern, link_.host);  // hosts are plain
  }

  /// Whether there is nothing more to find behind this one.
  bool consider(const Trigger& trigger) {
    if (trigger.rule >= best_) return true;
    if (!trigger.isEnough && !LinkRouter::matches(rules_.document_->rules[trigger.rule], link_)) return false;
    best_ = trigger.rule;
    return true;
  }

  const CompiledRules& rules_;
  const IncomingLink& link_;
  std::uint32_t best_ = none;
};

CompiledRules::CompiledRules(RuleSet document)
    : document_(std::make_shared<const RuleSet>(std::move(document))), keys_(bytesOfValues(*document_) + 1) {
  ValueCounts counts;
  for (const LinkRule& rule : document_->rules) {
    if (!rule.isEnabled || !needsSeveral(rule)) continue;
    for (const Condition& condition : rule.conditions) {
      for (const std::string_view value : condition.usableValues()) ++counts[value];
    }
  }
  for (std::uint32_t number = 0; number < document_->rules.size(); ++number) {
    if (document_->rules[number].isEnabled) compile(number, counts);
  }
  triggers_.shrink_to_fit();
  addressWildcards_.table.build();
  fileWildcards_.table.build();
}

RouteDecision CompiledRules::decide(const URL& url, std::optional<std::string_view> sourceBundleID) const {
  const LinkRule* rule = firstMatch(IncomingLink(url, sourceBundleID));
  return rule == nullptr ? RouteDecision() : RouteDecision::of(std::shared_ptr<const LinkRule>(document_, rule));
}

const LinkRule* CompiledRules::firstMatch(const IncomingLink& link) const {
  Search search(*this, link);
  if (!link.source.empty()) search.lookUp(apps_, link.source);
  if (link.isFile) {
    search.lookUp(files_, link.filePath);
    search.lookUp(fileWildcards_, link.filePath);
    return search.result();
  }
  if (!link.host.empty()) {
    search.lookUp(hosts_, link.host);
    // The host itself and what follows each of its dots.
    std::string_view domain = link.host;
    while (!domains_.empty()) {
      if (domain.size() <= longestDomain_) search.lookUp(domains_, domain);
      const std::size_t dot = domain.find('.');
      if (dot == std::string_view::npos) break;
      domain.remove_prefix(dot + 1);
    }
  }
  search.lookUp(addresses_, link.address);
  search.lookUp(addressWildcards_, link.address);  // an address begins with its host
  return search.result();
}

void CompiledRules::compile(std::uint32_t ruleNumber, const ValueCounts& counts) {
  const LinkRule& rule = document_->rules[ruleNumber];
  const auto conditions = rule.usableConditions();
  const bool needsAll = needsSeveral(rule);
  // Where several conditions must hold, one of them stands for the rule in the tables: that which the fewest others
  // share.
  const auto sharing = [&counts](const Condition& condition) {
    std::size_t sum = 0;
    for (const std::string_view value : condition.usableValues()) sum += counts.at(value);
    return sum;
  };
  const auto standIn = needsAll ? std::ranges::min_element(conditions, {}, sharing) : conditions.end();
  for (const Condition& condition : conditions) {
    if (needsAll && &condition != &standIn->get()) continue;
    for (const std::string_view value : condition.usableValues()) {
      compile(condition.kind, value, {.rule = ruleNumber, .isEnough = !needsAll, .next = none});
    }
  }
}

void CompiledRules::compile(Condition::Kind kind, std::string_view value, const Trigger& trigger) {
  switch (kind) {
    case Condition::Kind::addresses:
      return compileAddress(value, trigger);
    case Condition::Kind::apps:
      return add(apps_, text::folded(std::string(value)), trigger);
  }
}

void CompiledRules::compileAddress(std::string_view pattern, const Trigger& trigger) {
  if (LinkRouter::isFilePathPattern(pattern)) {
    const std::string path = text::folded(LinkRouter::expandedFilePattern(pattern));
    if (hasWildcard(path)) {
      addWildcard(fileWildcards_, path, false, trigger);
    } else {
      add(files_, path, trigger);
    }
    return;
  }
  const std::string expanded = LinkRouter::expandedAddressPattern(pattern);
  const std::string_view text = expanded;
  if (text.empty()) return;
  if (text.find('/') != std::string_view::npos) {
    if (hasWildcard(text)) {
      addWildcard(addressWildcards_, text, false, trigger);
    } else {
      add(addresses_, text, trigger);
    }
    return;
  }
  const bool isForDomain = text.starts_with(LinkRouter::anySubdomain);
  const std::string_view domain = isForDomain ? text.substr(LinkRouter::anySubdomain.size()) : text;
  if (hasWildcard(domain) || domain.empty()) {
    addWildcard(addressWildcards_, text, true, trigger);
    if (isForDomain) addWildcard(addressWildcards_, domain, true, trigger);
  } else {
    add(isForDomain ? domains_ : hosts_, domain, trigger);
    if (isForDomain) longestDomain_ = std::max(longestDomain_, domain.size());
  }
}

void CompiledRules::add(TriggerTable& table, std::string_view key, const Trigger& trigger) {
  const auto number = static_cast<std::uint32_t>(triggers_.size());
  if (const auto found = table.find(key); found != table.end()) {
    Trigger& last = triggers_[found->second.last];
    if (last.isEnough || last.rule == trigger.rule) return;  // nothing would ever come to this one
    last.next = number;
    found->second.last = number;
  } else {
    table.emplace(keep(key), TriggerList{.first = number, .last = number});
  }
  triggers_.push_back(trigger);
}

void CompiledRules::addWildcard(WildcardPatterns& patterns, std::string_view pattern, bool isForHost,
                                const Trigger& trigger) {
  const std::string_view kept = keep(pattern);
  patterns.entries.push_back({.pattern = kept, .isForHost = isForHost, .trigger = trigger});
  patterns.table.add(kept);
}

std::string_view CompiledRules::keep(std::string_view text) {
  char* copy = static_cast<char*>(keys_.allocate(text.size() + 1, 1));
  text.copy(copy, text.size());
  return {copy, text.size()};
}

}  // namespace corvana
