// Measures a routing decision, with the splitting of the link included, beside other ways to the same answer: the
// direct walk over the document, fnmatch(3) for one pattern after the other, and all patterns as one automaton
// (RE2::Set), which get the link's host and address ready-made. Over 10 to 100,000 rules: 70 % plain hosts, 15 %
// domains ("*.host"), 10 % addresses with a path and wildcards, 5 % source applications; for links that no rule
// matches, and for those that a rule in the middle or at the end matches. Usage: routing_bench [MAXIMUM_RULES]

#include <fnmatch.h>
#include <malloc.h>
#include <re2/set.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/routing/compiled_rules.h"

namespace {

using namespace corvana;

double nanoseconds() {
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string site(std::size_t number) {
  static const char* const words[] = {"mail", "docs", "shop", "news", "wiki", "code", "team", "data"};
  return std::string(words[number % 8]) + std::to_string(number * 7919 % 1'000'003) + ".example" +
         (number % 3 == 0   ? ".org"
          : number % 3 == 1 ? ".com"
                            : ".co.uk");
}

RuleSet documentOf(std::size_t count) {
  RuleSet set;
  for (std::size_t i = 0; i < count; ++i) {
    Condition condition;
    const std::size_t kind = i * 37 % 100;  // the kinds mixed, in their shares
    if (kind < 70) {
      condition.values = {site(i)};
    } else if (kind < 85) {
      condition.values = {"*." + site(i)};
    } else if (kind < 95) {
      condition.values = {site(i) + "/projects/*/issues*"};
    } else {
      condition = {.kind = Condition::Kind::apps, .values = {"com.example.app" + std::to_string(i)}};
    }
    set.rules.push_back({.name = "Rule", .target = RouteTarget::proxyApp("app.corvana.x"), .conditions = {condition}});
  }
  return set;
}

struct Incoming {
  URL url;
  std::string source;
};

/// A link that this rule matches.
Incoming matching(const RuleSet& set, std::size_t rule) {
  const Condition& condition = set.rules[rule].conditions[0];
  std::string value = condition.values[0];
  if (condition.kind == Condition::Kind::apps) return {URL::absolute("https://www.unknown.example/").value(), value};
  if (value.starts_with("*.")) value.replace(0, 1, "www");
  for (std::size_t star; (star = value.find('*')) != std::string::npos;) value.replace(star, 1, "abc");
  const std::string rest = value.find('/') == std::string::npos ? "/some/page.html?query=value&more=1" : "";
  return {URL::absolute("https://" + value + rest).value(), "com.example.other"};
}

/// As many links as may be told apart by their caches: about `rule`, or matched by none.
std::vector<Incoming> linksAbout(const RuleSet& set, std::optional<std::size_t> rule) {
  constexpr std::size_t most = 256;
  std::vector<Incoming> links;
  const std::size_t count = std::min(most, std::max<std::size_t>(set.rules.size() / 3, 1));
  for (std::size_t i = 0; i < count; ++i) {
    if (rule) {
      links.push_back(matching(set, *rule - std::min(*rule, i)));
    } else {
      links.push_back({URL::absolute("https://unknown" + site(i) + "/some/page.html?query=value&more=1").value(),
                       "com.example.other"});
    }
  }
  return links;
}

/// The median of several runs of `decide` over all links, per link; as many as fit into about half a second.
double nanosecondsPerLink(std::size_t links, const std::function<void(std::size_t)>& decide) {
  std::vector<double> times;
  const double end = nanoseconds() + 0.5e9;
  do {
    const double begin = nanoseconds();
    std::size_t done = 0;
    do {
      for (std::size_t i = 0; i < links; ++i) decide(i);
      done += links;
    } while (nanoseconds() - begin < 2e6);
    times.push_back((nanoseconds() - begin) / static_cast<double>(done));
  } while (nanoseconds() < end);
  std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
  return times[times.size() / 2];
}

/// A rule's pattern as the peers take it: for the whole address, or for the host alone.
struct PeerPattern {
  std::string pattern;
  bool isForHost;
};

std::vector<PeerPattern> peerPatterns(const RuleSet& set) {
  std::vector<PeerPattern> patterns;
  for (const LinkRule& rule : set.rules) {
    if (rule.conditions[0].kind == Condition::Kind::apps) continue;
    const std::string& value = rule.conditions[0].values[0];
    patterns.push_back({value, value.find('/') == std::string::npos});
  }
  return patterns;
}

void sink(const void* value) {
  asm volatile("" : : "g"(value) : "memory");
}

std::string regularExpression(std::string_view pattern) {
  std::string result;
  for (const char c : pattern) result += c == '*' ? ".*" : RE2::QuoteMeta(std::string(1, c));
  return result;
}

/// Large blocks are counted apart.
std::size_t allocatedBytes() {
  const struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

void measure(std::size_t count, double& timeAtTen) {
  RuleSet set = documentOf(count);
  RuleSet copy = set;
  const std::size_t before = allocatedBytes();
  const double begin = nanoseconds();
  const CompiledRules rules(std::move(copy));
  const double buildTime = nanoseconds() - begin;
  const double memory = static_cast<double>(allocatedBytes() - before);

  const std::vector<PeerPattern> patterns = peerPatterns(set);
  RE2::Options options;
  options.set_max_mem(std::int64_t{1} << 30);
  options.set_log_errors(false);
  options.set_case_sensitive(false);
  RE2::Set hostAutomaton(options, RE2::ANCHOR_BOTH);
  RE2::Set addressAutomaton(options, RE2::ANCHOR_BOTH);
  const double automatonBegin = nanoseconds();
  for (const PeerPattern& pattern : patterns) {
    (pattern.isForHost ? hostAutomaton : addressAutomaton).Add(regularExpression(pattern.pattern), nullptr);
  }
  hostAutomaton.Compile();
  addressAutomaton.Compile();
  const double automatonTime = nanoseconds() - automatonBegin;

  std::printf("%zu rules: compiled in %.2f ms to %.2f MB (RE2::Set: %.0f ms)\n", count, buildTime / 1e6, memory / 1e6,
              automatonTime / 1e6);
  struct Place {
    const char* name;
    std::optional<std::size_t> rule;
  };
  for (const Place& place :
       {Place{"no match", std::nullopt}, Place{"in the middle", count / 2}, Place{"at the end", count - 1}}) {
    const std::vector<Incoming> links = linksAbout(set, place.rule);
    for (const Incoming& link : links) {
      const RouteDecision decision = rules.decide(link.url, link.source);
      if (decision != LinkRouter::decide(link.url, link.source, set) ||
          decision.isFallback() == place.rule.has_value()) {
        std::printf("wrong decision for %s\n", link.url.absoluteString().c_str());
        std::exit(1);
      }
      if (count > 10'000) break;  // the walk takes its time
    }
    std::vector<IncomingLink> prepared;
    for (const Incoming& link : links) prepared.emplace_back(link.url, link.source);

    const double compiled = nanosecondsPerLink(links.size(), [&](std::size_t i) {
      const RouteDecision decision = rules.decide(links[i].url, links[i].source);
      sink(&decision);
    });
    const double preparation = nanosecondsPerLink(links.size(), [&](std::size_t i) {
      const IncomingLink link(links[i].url, links[i].source);
      sink(&link);
    });
    const std::size_t few = std::min<std::size_t>(links.size(), std::max<std::size_t>(1, 10'000 / count));
    const double walk = nanosecondsPerLink(few, [&](std::size_t i) {
      const RouteDecision decision = LinkRouter::decide(links[i].url, links[i].source, set);
      sink(&decision);
    });
    const double fnmatch = nanosecondsPerLink(few, [&](std::size_t i) {
      for (const PeerPattern& pattern : patterns) {
        const std::string& text = pattern.isForHost ? prepared[i].host : prepared[i].address;
        const bool matches = ::fnmatch(pattern.pattern.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
        if (matches) return sink(&pattern);
      }
    });
    std::vector<int> found;
    const double set2 = nanosecondsPerLink(links.size(), [&](std::size_t i) {
      hostAutomaton.Match(prepared[i].host, &found);
      addressAutomaton.Match(prepared[i].address, &found);
      sink(&found);
    });
    if (timeAtTen == 0) timeAtTen = compiled;
    std::printf(
        "  %-14s compiled %7.0f ns (%3.0f to take the link apart; %.2f of the goal of 500; %.2f times 10 rules)"
        "  walk %9.0f ns  fnmatch %9.0f ns  RE2::Set %6.0f ns\n",
        place.name, compiled, preparation, compiled / 500, compiled / timeAtTen, walk, fnmatch, set2);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::size_t most = argumentCount > 1 ? std::strtoul(arguments[1], nullptr, 10) : 100'000;
  double timeAtTen = 0;
  for (std::size_t count = 10; count <= most; count *= 10) measure(count, timeAtTen);
}
