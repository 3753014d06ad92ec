#include "core/routing/compiled_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <span>

#include "core/routing/glob.h"
#include "core/routing/rule_check.h"
#include "platform/files/user_directories.h"
#include "platform/text/text.h"
#include "tests/support/stress.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

/// Documents and links over an alphabet so small that they keep meeting.
class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }

  std::string one(const std::vector<std::string>& choices) { return choices[below(choices.size())]; }

  std::string some(const std::vector<std::string>& choices, std::size_t most) {
    std::string text;
    for (std::size_t count = below(most + 1); count > 0; --count) text += one(choices);
    return text;
  }

  std::string pattern() {
    static const std::vector<std::string> pieces{
        "a", "b", "A",      ".",      ".",       "*",      "*", "/",  "*.", "ab.ab", "abababab",
        "?", "e", "\u0301", "\u00E9", "E\u0301", "\u212A", "k", "\r", "\n", "%41",   "://"};
    switch (below(10)) {
      case 0:
        return one({"", " ", "\t ", "\u00A0", "*", "*.", "/", "~/", "https://", "*/*", "**"});
      case 1:
        return one({"/tmp/", "/private/tmp/", "~/", "/", "/etc"}) + some(pieces, 5);
      case 2:
        return "*." + domain();
      case 3:
        return domain();
      case 4:
        return one({" ", "http://", ""}) + domain() + "/" + some(pieces, 4);
      default:
        return some(pieces, 6) + one({"", "", "/", " "});
    }
  }

  std::string link() {
    static const std::vector<std::string> pieces{"a",      "b",   "A",      ".",      "/",      "*",      "abababab",
                                                 "?",      "e",   "%CC%81", "\u00E9", "\u0301", "\u212A", "k",
                                                 "%0D%0A", "%0a", "%41",    "%ff",    "//",     ".."};
    switch (below(8)) {
      case 0:
        return "file://" + one({"", "", "localhost", "a"}) + one({"/tmp/", "/private/tmp/", "/etc", "/", homePath()}) +
               some(pieces, 5);
      case 1:
        return one({"mailto:", "foo:/", "foo://A.b/", "https:", "http://a b/", "foo:"}) + some(pieces, 5);
      default:
        return one({"https://", "http://"}) + one({"", "u@", "A."}) + domain() + one({"", "/", "/", "?", ":80/"}) +
               some(pieces, 5);
    }
  }

  RuleSet document() {
    RuleSet set;
    for (std::size_t rules = below(8); rules > 0; --rules) {
      LinkRule rule{.name = std::to_string(rules),
                    .isEnabled = below(6) > 0,
                    .match = below(2) == 0 ? MatchMode::any : MatchMode::all};
      for (std::size_t conditions = below(4); conditions > 0; --conditions) {
        Condition condition{.kind = below(4) == 0 ? Condition::Kind::apps : Condition::Kind::addresses};
        for (std::size_t values = below(4); values > 0; --values) {
          condition.values.push_back(condition.kind == Condition::Kind::apps ? app() : pattern());
        }
        rule.conditions.push_back(condition);
      }
      set.rules.push_back(rule);
    }
    return set;
  }

  std::string app() { return one({"a", "A ", "b", "", " ", "\u00E9", "E\u0301", "com.a"}); }

 private:
  std::string domain() { return some({"a.", "b.", "ab.", "A."}, 3) + one({"a", "b", "ab", "example", "B.", "a."}); }
  static std::string homePath() { return userDirectories::home().string() + "/"; }

  std::mt19937 random_;
};

TEST(CompiledRules, DecideAsTheWalkDoes) {
  const support::TemporaryHome home;
  Generator generator(1);
  std::size_t matched = 0;
  std::size_t warned = 0;
  for (int documents = 0; documents < support::rounds(30'000); ++documents) {
    const CompiledRules rules(generator.document());
    std::vector<std::string> useless;
    for (const LinkRule& rule : rules.document().rules) {
      for (const Condition& condition : rule.conditions) {
        if (condition.kind != Condition::Kind::addresses) continue;
        std::ranges::copy_if(condition.values, std::back_inserter(useless),
                             [](const std::string& value) { return whyNoWebLinkMatches(value).has_value(); });
      }
    }
    warned += useless.size();
    for (int links = 0; links < 8; ++links) {
      const auto url = URL::absolute(generator.link());
      if (!url) continue;
      const std::string app = generator.app();
      std::optional<std::string_view> source;
      if (generator.below(3) > 0) source = app;
      const RouteDecision expected = LinkRouter::decide(*url, source, rules.document());
      matched += expected.isFallback() ? 0 : 1;
      ASSERT_EQ(rules.decide(*url, source), expected) << url->absoluteString() << " from " << app << "\n"
                                                      << rules.document().documentText();
      if (!url->absoluteString().starts_with("http")) continue;
      for (const std::string& pattern : useless) {
        ASSERT_FALSE(LinkRouter::matchesAddress(pattern, IncomingLink(*url, source)))
            << pattern << " on " << url->absoluteString();
      }
    }
  }
  EXPECT_GT(warned, 10'000u);
  EXPECT_GT(matched, 30'000u) << "too few links met a rule for this to say much";
}

/// As the definition has it, over characters and without cleverness.
bool matchesByDefinition(std::span<const text::Character> pattern, std::span<const text::Character> characters) {
  if (pattern.empty()) return characters.empty();
  if (pattern.front().utf8 == "*") {
    return matchesByDefinition(pattern.subspan(1), characters) ||
           (!characters.empty() && matchesByDefinition(pattern, characters.subspan(1)));
  }
  return !characters.empty() && pattern.front().utf8 == characters.front().utf8 &&
         matchesByDefinition(pattern.subspan(1), characters.subspan(1));
}

TEST(Glob, MatchesByItsDefinition) {
  Generator generator(2);
  std::size_t matched = 0;
  const auto folded = [](const std::string& text) { return text::characters(text::folded(text)); };
  for (int i = 0; i < 60'000; ++i) {
    const std::string pattern = generator.some({"*", "*", "a", "B", "\u0301", "\u00E9", "e", "\r", "\n", "\u212A"}, 5);
    const std::string text = generator.some({"a", "b", "A", "*", "\u0301", "E", "\u00C9", "\r", "\n", "K", "\xE2"}, 6);
    const bool expected = matchesByDefinition(folded(pattern), folded(text));
    matched += expected ? 1 : 0;
    ASSERT_EQ(Glob::matches(pattern, text), expected) << pattern << " on " << text;
  }
  EXPECT_GT(matched, 4'000u);
}

TEST(CompiledRules, RulesThatShareAPatternOrItsShapeAreToldApart) {
  RuleSet set;
  const auto add = [&set](const std::string& name, const std::string& pattern, const std::string& app) {
    LinkRule rule{.name = name, .match = MatchMode::all, .conditions = {{.values = {pattern}}}};
    if (!app.empty()) rule.conditions.push_back({.kind = Condition::Kind::apps, .values = {app}});
    set.rules.push_back(rule);
  };
  for (int i = 0; i < 3'000; ++i) {
    const std::string number = std::to_string(i);
    add("page" + number, "host" + number + ".example/*/page*", i % 2 == 0 ? "" : "app");
    add("site" + number, "same.example", "app" + number);
    add("domain" + number, "*.same.example", "app" + number);
  }
  add("last", "same.example", "");
  const CompiledRules rules(set);
  const auto nameFor = [&rules](const char* link, const char* app) {
    const auto rule = rules.decide(URL::absolute(link).value(), app).rule;
    return rule ? rule->name : "";
  };
  EXPECT_EQ(nameFor("https://host2998.example/a/page1", ""), "page2998");
  EXPECT_EQ(nameFor("https://host2999.example/a/page1", ""), "");
  EXPECT_EQ(nameFor("https://host2999.example/a/page1", "app"), "page2999");
  EXPECT_EQ(nameFor("https://host299.example/page1", "app"), "");
  EXPECT_EQ(nameFor("https://same.example", "app2500"), "site2500");
  EXPECT_EQ(nameFor("https://x.same.example", "app2500"), "domain2500");
  EXPECT_EQ(nameFor("https://same.example", "app3000"), "last");
}

}  // namespace
}  // namespace corvana
