#include "core/routing/route_choice.h"

#include <utility>

namespace corvana {

std::vector<RouteChoice::Candidate> RouteChoice::candidates(const std::optional<RouteTarget>& ruleTarget, bool isFile,
                                                            const RuleSet& set) {
  std::vector<Candidate> result;
  const auto add = [&result](RouteReason why, const std::optional<RouteTarget>& wanted) {
    if (wanted) result.push_back({why, *wanted});
  };
  add(RouteReason::rule, ruleTarget);
  if (isFile) add(RouteReason::localFileTarget, set.localFileTarget);
  add(RouteReason::fallback, set.fallback);
  return result;
}

RouteChoice RouteChoice::make(const std::optional<RouteTarget>& ruleTarget, bool isFile, const RuleSet& set,
                              const Find& find) {
  RouteChoice choice;
  for (Candidate& candidate : candidates(ruleTarget, isFile, set)) {
    choice.application = find(candidate.target);
    if (choice.application) {
      choice.reason = candidate.reason;
      choice.target = std::move(candidate.target);
      break;
    }
    choice.missing.push_back(std::move(candidate));
  }
  return choice;
}

}  // namespace corvana
