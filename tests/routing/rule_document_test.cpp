#include "core/routing/rule_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/identity/json_coding.h"

namespace corvana {
namespace {

using testing::HasSubstr;

/// The conditions of a document's only rule, each as "kind: value|value".
std::vector<std::string> conditionsOf(const std::string& conditions) {
  std::vector<std::string> result;
  const auto set = RuleSet::parse(R"({"rules": [{"target": {"kind": "proxyApp", "bundleID": "p"}, "conditions": )" +
                                  conditions + "}]}");
  for (const Condition& condition : set.rules.at(0).conditions) {
    std::string text(nameOf(condition.kind));
    for (const std::string& value : condition.values) text += (&value == &condition.values[0] ? ":" : "|") + value;
    result.push_back(text);
  }
  return result;
}

TEST(RuleDocument, AnEmptyDocumentHasTheDefaultsAndIsWrittenInFull) {
  EXPECT_EQ(RuleSet::parse("{}"), RuleSet());
  EXPECT_EQ(RuleSet::parse(R"({"version": null, "rules": null, "fallback": null, "browserChoices": null, "new": 1})"),
            RuleSet());
  EXPECT_EQ(RuleSet().documentText(), R"({
  "additionalBrowserIDs": [],
  "browserChoices": {},
  "handlesHTMLFiles": false,
  "recordsHistory": true,
  "rules": [],
  "version": 1
}
)");
}

TEST(RuleDocument, WhatIsWrittenReadsAsTheSame) {
  RuleSet set{.version = 7,
              .rules = {{.id = UUID::random(),
                         .name = "Wörk \"1\"",
                         .target = RouteTarget::browser("org.mozilla.firefox", true),
                         .isEnabled = false,
                         .match = MatchMode::all,
                         .conditions = {{.kind = Condition::Kind::apps, .values = {"a", " ", ""}}}},
                        {.id = UUID::random(), .target = RouteTarget::proxyApp("app.corvana.1")}},
              .fallback = RouteTarget::browser("com.google.Chrome"),
              .localFileTarget = RouteTarget::proxyApp("app.corvana.2"),
              .recordsHistory = false,
              .browserChoices = {{"a", true}, {"b", false}},
              .handlesHTMLFiles = true,
              .additionalBrowserIDs = {"x", "y"}};
  EXPECT_EQ(RuleSet::parse(set.documentText()), set);
  EXPECT_EQ(std::hash<RuleSet>()(RuleSet::parse(set.documentText())), std::hash<RuleSet>()(set));
  RuleSet other = set;
  other.rules[0].conditions[0].values[0] = "b";
  EXPECT_NE(std::hash<RuleSet>()(other), std::hash<RuleSet>()(set));
  // Only a private window is written.
  EXPECT_THAT(set.documentText(), HasSubstr(R"("fallback": {
    "bundleID": "com.google.Chrome",
    "kind": "browser"
  })"));
  // What is not UTF-8 does not keep the rest from being saved.
  set.rules[0].name = "a\xFFz";
  EXPECT_EQ(RuleSet::parse(set.documentText()).rules[0].name, "a\uFFFDz");
}

TEST(RuleDocument, OlderAndShortFormsAreRead) {
  const std::string bare = R"({"rules": [{"target": {"kind": "proxyApp", "bundleID": "p", "isPrivate": 5}}]})";
  const LinkRule rule = RuleSet::parse(bare).rules.at(0);
  EXPECT_EQ(rule, (LinkRule{.id = rule.id, .name = "Rule", .target = RouteTarget::proxyApp("p")}));
  EXPECT_NE(rule.id, RuleSet::parse(bare).rules.at(0).id);

  using Texts = std::vector<std::string>;
  EXPECT_EQ(conditionsOf(R"([{"field": "fromApp", "pattern": "com.apple.mail"}])"), Texts{"apps:com.apple.mail"});
  EXPECT_EQ(conditionsOf(R"([{"patterns": ["a.com"], "pattern": "", "values": ["v"]}])"), Texts{"addresses:a.com"});
  EXPECT_EQ(conditionsOf(R"([{"field": "path", "patterns": ["y"], "pattern": "x"}])"), Texts{"addresses:y|x"});
  EXPECT_EQ(conditionsOf(R"([{"kind": null, "field": "FROMAPP"}])"), Texts{"addresses"});
  EXPECT_EQ(conditionsOf(R"([{"kind": "apps", "patterns": ["x"]}])"), Texts{"apps"});
  // Neighbours of one kind become one.
  EXPECT_EQ(
      conditionsOf(R"([{"kind": "addresses", "values": ["a"]}, {"pattern": "b"}, {"kind": "apps", "values": ["x"]},
                             {"kind": "addresses", "values": ["c"]}])"),
      (Texts{"addresses:a|b", "apps:x", "addresses:c"}));
}

TEST(RuleDocument, AnErrorSaysWhere) {
  struct Row {
    const char* document;
    const char* problem;
  };
  for (
      const Row& row : {
          Row{R"({"rules": [{}]})", "rules[0].target: missing"},
          Row{R"({"rules": [{"target": {"kind": "app", "bundleID": "p"}}]})",
              "rules[0].target.kind: \"app\" is none of proxyApp, browser"},
          Row{R"({"rules": [{"target": {"kind": "browser"}}]})", "rules[0].target.bundleID: missing"},
          Row{R"({"rules": [{"id": "1", "target": {"kind": "browser", "bundleID": "b"}}]})",
              "rules[0].id: expected a UUID of 36 characters, found \"1\""},
          Row{R"({"rules": [{"target": {"kind": "browser", "bundleID": "b"}, "conditions": [{"values": []}, {"kind": 1}]}]})",
              "rules[0].conditions[1].kind: expected a string, found number"},
          Row{R"({"rules": [{"target": {"kind": "browser", "bundleID": "b"}, "conditions": [{"kind": "apps", "values": [1]}]}]})",
              "rules[0].conditions[0].values[0]: expected a string, found number"},
          Row{R"({"browserChoices": {"com.x": "yes"}})", "browserChoices.com.x: expected true or false, found string"},
          Row{R"({"version": 1.5})", "version: expected an integer of 64 bits, found 1.5"},
          Row{R"({"version": 1e300})", "version: expected an integer"},
          Row{R"({"version": 18446744073709551615})", "version: expected an integer"},
          Row{R"({"rules": {}})", "rules: expected an array, found object"},
          Row{"[]", "expected an object, found array"},
          Row{"{\n  \"rules\": [\n    {\"name\" \"x\"}\n  ]\n}", "line 3, column 15"},
          Row{"", "line 1, column 1"},
      }) {
    try {
      (void)RuleSet::parse(row.document);
      ADD_FAILURE() << row.document << " was taken";
    } catch (const DecodingError& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.problem)) << row.document;
    }
  }
}

TEST(RuleDocument, BlankValuesDoNotCount) {
  const Condition condition{.values = {"  a.com\t", "", " \u00A0\u3000 ", "b.com"}};
  EXPECT_EQ(condition.text(), "a.com\nb.com");
  EXPECT_EQ(condition.summary(), "2 addresses");
  EXPECT_EQ((Condition{.values = {"\n"}}).summary(), "1 address") << "a line break is no white space here";
  EXPECT_EQ((Condition{.kind = Condition::Kind::apps, .values = {" "}}).summary(), "0 source apps");
  EXPECT_EQ(Condition::valuesFromText("a\r\n\n b\u2028c\u0085\t\x0B"
                                      "d"),
            (std::vector<std::string>{"a", "b", "c", "d"}));

  LinkRule rule{.conditions = {{.values = {" "}}, condition, {.kind = Condition::Kind::apps, .values = {"x"}}}};
  EXPECT_EQ(rule.conditionSummary(), "2 addresses or 1 source app");
  rule.match = MatchMode::all;
  EXPECT_EQ(rule.conditionSummary(), "2 addresses and 1 source app");
  EXPECT_FALSE(rule.matchesNothing());
  rule.conditions.resize(1);
  EXPECT_EQ(rule.conditionSummary(), "No conditions");
  EXPECT_TRUE(rule.matchesNothing());
}

TEST(RuleDocument, ItsSummaryCountsEnabledRules) {
  const auto summary = [](std::size_t enabled, std::size_t count) {
    RuleSet set{.rules = std::vector<LinkRule>(count)};
    for (std::size_t i = enabled; i < count; ++i) set.rules[i].isEnabled = false;
    return set.summary();
  };
  EXPECT_EQ(summary(0, 0), "No rules yet");
  EXPECT_EQ(summary(1, 1), "1 rule enabled, first match wins");
  EXPECT_EQ(summary(4, 4), "4 rules enabled, first match wins");
  EXPECT_EQ(summary(2, 5), "2 of 5 rules enabled, first match wins");
  EXPECT_EQ(summary(0, 1), "0 of 1 rules enabled, first match wins");
}

}  // namespace
}  // namespace corvana
