// What helps people with their rules: why a link goes where it goes, what a rule cannot mean, where a file is broken.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/identity/json_position.h"
#include "core/routing/route_choice.h"
#include "core/routing/route_explanation.h"
#include "core/routing/rule_check.h"

namespace corvana {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

RuleSet documentOf(const std::string& rules) {
  return RuleSet::parse("{\"rules\": [" + rules + "]}");
}

const std::string target = R"("target": {"kind": "proxyApp", "bundleID": "p"})";
const std::string site = R"({"kind": "addresses", "values": ["other.example", "*.example.org"]})";
const std::string mail = R"({"kind": "apps", "values": ["com.apple.mail"]})";

TEST(RouteExplanation, NamesWhatDecided) {
  const RuleSet set = documentOf("{" + target + R"(, "isEnabled": false, "conditions": [)" + site + "]}, {" + target +
                                 "}, {" + target + R"(, "match": "all", "conditions": [)" + mail + "," + site +
                                 "]}, {" + target + R"(, "conditions": [)" + mail + "," + site + "]}");
  const auto explained = [&set](const char* link, const char* source) {
    std::vector<std::string> texts;
    for (const RuleVerdict& verdict : explainRoute(URL::absolute(link).value(), source, set)) {
      texts.push_back(std::string(nameOf(verdict.outcome)) + ": " + verdict.reason());
    }
    return texts;
  };
  EXPECT_THAT(
      explained("https://www.example.org/", "COM.apple.mail"),
      ElementsAre("isOff: ", "hasNoConditions: ", "matches: source app com.apple.mail and address *.example.org",
                  "matches: source app com.apple.mail"));
  EXPECT_THAT(
      explained("https://www.example.org/", ""),
      ElementsAre("isOff: ", "hasNoConditions: ", "fails: none of its source apps", "matches: address *.example.org"));
  EXPECT_THAT(explained("https://example.net/", "x"),
              ElementsAre("isOff: ", "hasNoConditions: ", "fails: none of its source apps",
                          "fails: none of its source apps, none of its addresses"));
}

TEST(RuleCheck, FindsWhatCannotBeMeant) {
  const auto warningFor = [](const std::string& pattern) {
    const auto warnings = checkRules(
        documentOf("{" + target + R"(, "conditions": [{"kind": "addresses", "values": [")" + pattern + "\"]}]}"));
    return warnings.empty() ? "" : warnings.at(0).text;
  };
  for (const char* fine : {"example.org", "*.example.org", "a*", "[::1]", "*:80*", "/tmp/x", "~/\u00FC", "a/\u00FC#b:c",
                           "*\u00FC/x", "*:8080/x"}) {
    EXPECT_EQ(warningFor(fine), "") << fine;
  }
  EXPECT_THAT(warningFor("https:///"), HasSubstr("matches no web link: it has no host"));
  EXPECT_THAT(warningFor("file:///tmp/x"), HasSubstr("write the path alone"));
  EXPECT_THAT(warningFor("*.m\u00FCnchen.de"), HasSubstr("write *.xn--mnchen-3ya.de"));
  EXPECT_THAT(warningFor("m\u00FCnchen.de/x"), HasSubstr("write xn--mnchen-3ya.de"));
  EXPECT_THAT(warningFor("*\u00FC.de"), EndsWith("compared in ASCII"));
  EXPECT_THAT(warningFor("localhost:8080"), HasSubstr("ports are not compared"));
  EXPECT_THAT(warningFor("*.example.org:8080"), HasSubstr("ports are not compared"));
  EXPECT_THAT(warningFor("localhost:8080/x"), HasSubstr("ports are not compared"));
  EXPECT_THAT(warningFor("user@example.org"), HasSubstr("user names"));
  EXPECT_THAT(warningFor("exa mple.org"), HasSubstr("no host has such a character"));

  const std::string id = R"("id": "00112233-4455-6677-8899-aabbccddeeff", )";
  EXPECT_EQ(checkRules(documentOf("{" + id + target + "}, {" + id + target + R"(, "conditions": [)" + site + "]}")),
            (std::vector<RuleWarning>{{0, "has no conditions and never matches"}, {1, "has the id of rule 1"}}));
}

TEST(JSONPosition, IsThatOfTheValueOrOfWhatLacksIt) {
  struct Row {
    const char* text;
    std::size_t line;
    std::size_t column;
  };
  for (const Row& row : {
           Row{"{\"rules\": [\n  {}, {\"target\": 1}]}", 2, 3},
           Row{"{\"rules\": [{\"target\": {\"kind\":\n\"x\"}}]}", 2, 1},
           Row{"{\n \"browserChoices\": {\"a/b~.c\": true, \"[0]\": 1}}", 2, 44},
           Row{"{\n \"browserChoices\": {\"a/b~.c\": 7}}", 2, 31},
           Row{"{\"version\": 1,\n\"version\": \"x\"}", 2, 12},
           Row{" []", 1, 2},
           Row{"{\"rules\"\n:: 1}", 2, 2},
           Row{"{\"version\":\n  1e999}", 2, 3},
           Row{"", 1, 1},
       }) {
    try {
      (void)RuleSet::parse(row.text);
      ADD_FAILURE() << row.text;
    } catch (const DecodingError& error) {
      const TextPosition position = positionOf(error, row.text);
      EXPECT_EQ(position.line, row.line) << row.text;
      EXPECT_EQ(position.column, row.column) << row.text;
    }
  }
}

TEST(RouteChoice, IsTheFirstTargetThatCanBeFound) {
  const RouteTarget proxyApp = RouteTarget::proxyApp("rule");
  const RuleSet none;
  const RuleSet both{.fallback = RouteTarget::browser("fallback"), .localFileTarget = RouteTarget::browser("files")};
  struct Row {
    const char* name;
    const RuleSet& set;
    std::optional<RouteTarget> ruleTarget;
    bool isFile;
    std::set<std::string> gone;
    RouteReason reason;
    std::vector<RouteReason> missing;
  };
  using enum RouteReason;
  for (const Row& row : std::vector<Row>{
           {"a rule", both, proxyApp, true, {}, rule, {}},
           {"a file", both, {}, true, {}, localFileTarget, {}},
           {"no file", both, {}, false, {}, fallback, {}},
           {"nothing", none, {}, true, {}, lastResort, {}},
           {"rule gone", both, proxyApp, true, {"rule"}, localFileTarget, {rule}},
           {"rule gone, no file", both, proxyApp, false, {"rule"}, fallback, {rule}},
           {"file target gone", both, {}, true, {"files"}, fallback, {localFileTarget}},
           {"all gone",
            both,
            proxyApp,
            true,
            {"rule", "files", "fallback"},
            lastResort,
            {rule, localFileTarget, fallback}},
           {"rule alone, gone", none, proxyApp, false, {"rule"}, lastResort, {rule}},
       }) {
    std::vector<std::string> asked;
    const RouteChoice choice = RouteChoice::make(row.ruleTarget, row.isFile, row.set, [&](const RouteTarget& wanted) {
      asked.push_back(wanted.bundleID());
      return row.gone.contains(wanted.bundleID()) ? std::nullopt
                                                  : std::optional<std::filesystem::path>("/" + wanted.bundleID());
    });
    EXPECT_EQ(choice.reason, row.reason) << row.name;
    EXPECT_EQ(choice.targetWasMissing(), !row.missing.empty()) << row.name;
    std::vector<RouteReason> missing;
    for (const auto& candidate : choice.missing) missing.push_back(candidate.reason);
    EXPECT_EQ(missing, row.missing) << row.name;
    EXPECT_EQ(choice.target.has_value(), row.reason != lastResort) << row.name;
    if (choice.target) {
      EXPECT_EQ(choice.application, "/" + choice.target->bundleID()) << row.name;
    }
    EXPECT_EQ(asked.size(), missing.size() + (choice.target ? 1 : 0)) << row.name << ": none is asked for needlessly";
  }
}

}  // namespace
}  // namespace corvana
