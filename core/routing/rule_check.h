#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
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

/// Why no link of the web can match this pattern for addresses, and what to write instead; nothing when one can, or
/// when it is a pattern for files.
std::optional<std::string> whyNoWebLinkMatches(std::string_view pattern);

}  // namespace corvana
