// Links and patterns: the first line is a link, the others are the patterns of as many rules. A link that was taken
// apart is the same when it is put together and taken apart again, and the compiled rules decide as the walk over them
// does.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/routing/compiled_rules.h"
#include "core/routing/link_parts.h"
#include "core/routing/white_space.h"
#include "platform/text/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string folded = text::folded(std::string(text));
  if (text::folded(folded) != folded) std::abort();

  const std::size_t end = text.find('\n');
  const auto url = URL::absolute(std::string(text.substr(0, end)));
  if (!url) return 0;
  if (const auto parts = LinkParts::split(*url); parts && !parts->host.empty()) {
    const auto again = URL::absolute(parts->scheme + "://" + parts->host + parts->path);
    if (!again || LinkParts::split(*again).value().host != parts->host) std::abort();
  }
  if (end == std::string_view::npos) return 0;
  RuleSet set;
  constexpr std::size_t mostRules = 4;  // more of them find no more, only later
  for (const std::string_view pattern : lines(text.substr(end + 1))) {
    if (set.rules.size() == mostRules) break;
    set.rules.push_back({.name = std::string(pattern), .conditions = {{.values = {std::string(pattern)}}}});
  }
  const RouteDecision expected = LinkRouter::decide(*url, std::nullopt, set);
  if (CompiledRules(std::move(set)).decide(*url, std::nullopt) != expected) std::abort();
  return 0;
}
