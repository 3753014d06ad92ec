#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "core/identity/enum_names.h"
#include "core/routing/rule_document.h"

namespace corvana {

/// Why a link goes to a target: its rule says so, or the document does for local files or for all links that no rule
/// claims; or else it goes to the browser of last resort.
enum class RouteReason { rule, localFileTarget, fallback, lastResort };

template <>
struct EnumNames<RouteReason> {
  static constexpr std::array<EnumName<RouteReason>, 4> rows{{{RouteReason::rule, "rule"},
                                                              {RouteReason::localFileTarget, "localFileTarget"},
                                                              {RouteReason::fallback, "fallback"},
                                                              {RouteReason::lastResort, "lastResort"}}};
};

/// Where a link is sent, once it is known which rule claims it: the first of the rule's target, the document's target
/// for local files if it is one, and the document's fallback that can be found; then the browser of last resort.
struct RouteChoice {
  struct Candidate {
    RouteReason reason;
    RouteTarget target;

    bool operator==(const Candidate&) const = default;
  };
  /// Finds the application of a target; nothing when it is not there.
  using Find = std::function<std::optional<std::filesystem::path>(const RouteTarget&)>;

  RouteReason reason = RouteReason::lastResort;
  /// Both are nothing for the browser of last resort, which is for the caller to name.
  std::optional<RouteTarget> target;
  std::optional<std::filesystem::path> application;
  /// What came before and could not be found, in that order.
  std::vector<Candidate> missing;

  bool targetWasMissing() const { return !missing.empty(); }

  /// `ruleTarget` is that of the rule that claims the link. Asks `find` for one candidate after the other, until one is
  /// found. Pure but for that; any thread.
  static RouteChoice make(const std::optional<RouteTarget>& ruleTarget, bool isFile, const RuleSet& set,
                          const Find& find);

  /// All targets that the link may go to, in that order.
  static std::vector<Candidate> candidates(const std::optional<RouteTarget>& ruleTarget, bool isFile,
                                           const RuleSet& set);
};

}  // namespace corvana
