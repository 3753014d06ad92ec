#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/routing/link_router.h"
#include "core/routing/rule_document.h"
#include "core/routing/wildcard_table.h"

namespace corvana {

/// A rule document, and what it takes to decide by it in a time that hardly depends on the number of its rules: tables
/// from hosts, domains, addresses, files and source applications to the rules that they speak for. It decides as
/// LinkRouter does, with the home directory as it was when this was made. Immutable; any thread.
class CompiledRules {
 public:
  explicit CompiledRules(RuleSet document);
  CompiledRules(const CompiledRules&) = delete;
  CompiledRules& operator=(const CompiledRules&) = delete;

  const RuleSet& document() const { return *document_; }
  /// The document for as long as the caller keeps it.
  std::shared_ptr<const RuleSet> sharedDocument() const { return document_; }

  RouteDecision decide(const URL& url, std::optional<std::string_view> sourceBundleID) const;

  /// The first enabled rule that matches; null when none does.
  const LinkRule* firstMatch(const IncomingLink& link) const;

 private:
  /// That a table's key was met speaks for a rule, and settles it unless the rule has more conditions.
  struct Trigger {
    std::uint32_t rule;
    bool isEnough;
    /// The next of the same key, in the order of rules.
    std::uint32_t next;
  };
  static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

  /// From a key to the first and the last of its triggers.
  struct TriggerList {
    std::uint32_t first;
    std::uint32_t last;
  };
  using TriggerTable = std::unordered_map<std::string_view, TriggerList>;

  /// Patterns with wildcards; their numbers in the table are their places among the entries.
  struct WildcardPatterns {
    struct Entry {
      std::string_view pattern;
      bool isForHost;
      Trigger trigger;
    };
    std::vector<Entry> entries;
    WildcardTable table;
  };

  class Search;

  /// How often each value occurs in rules that need several conditions.
  using ValueCounts = std::unordered_map<std::string_view, std::size_t>;

  void compile(std::uint32_t ruleNumber, const ValueCounts& counts);
  void compile(Condition::Kind kind, std::string_view value, const Trigger& trigger);
  void compileAddress(std::string_view pattern, const Trigger& trigger);
  void add(TriggerTable& table, std::string_view key, const Trigger& trigger);
  void addWildcard(WildcardPatterns& patterns, std::string_view pattern, bool isForHost, const Trigger& trigger);
  /// A copy of the text that lives as long as this.
  std::string_view keep(std::string_view text);

  std::shared_ptr<const RuleSet> document_;
  /// Holds the tables' keys.
  std::pmr::monotonic_buffer_resource keys_;
  std::vector<Trigger> triggers_;
  TriggerTable hosts_;
  /// From "example.org", for the pattern "*.example.org".
  TriggerTable domains_;
  /// Whoever makes a link can make its host long; longer pieces of it need not be looked up.
  std::size_t longestDomain_ = 0;
  TriggerTable addresses_;
  TriggerTable files_;
  TriggerTable apps_;
  WildcardPatterns addressWildcards_;
  WildcardPatterns fileWildcards_;
};

}  // namespace corvana
