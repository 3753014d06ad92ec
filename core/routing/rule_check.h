#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/routing/rule_document.h"

namespace corvana {

/// Something in a rule that is allowed, but cannot be what was meant.
struct RuleWarning {
  /// The rule's place in the document, from 0.
  std::size_t rule = 0;
  std::string text;

  bool operator==(const RuleWarning&) const = default;
};

/// In the order of the rules. Any thread.
std::vector<RuleWarning> checkRules(const RuleSet& set);

}  // namespace corvana
