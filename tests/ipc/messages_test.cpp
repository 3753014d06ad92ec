#include "core/ipc/messages.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/identity/json_coding.h"

namespace corvana {
namespace {

const Request fullRequest{.id = std::numeric_limits<std::int64_t>::max(),
                          .op = Request::Op::closeWindows,
                          .profileDirectory = "Profile 1",
                          .profileName = "Wörk \"x\"\n\u2028\\",
                          .tabGroup = "",
                          .bundleID = "app.corvana.0123456789ab",
                          .pid = std::numeric_limits<std::int32_t>::min(),
                          .urls = std::vector<std::string>{"https://a/", ""},
                          .timeout = 0.1,
                          .protocolVersion = 2,
                          .limit = -1,
                          .includeIncognito = true,
                          .countAppWindows = false,
                          .ownWindow = true,
                          .deep = false,
                          .stubRevision = 7};
const Response fullResponse{.id = 4,
                            .ok = true,
                            .action = Response::Action::openedGroup,
                            .chromePID = 812,
                            .windowCount = 3,
                            .confidence = CountConfidence::unclassified,
                            .closed = 1,
                            .remaining = 2,
                            .blocked = true,
                            .tabGroups = std::vector<TabGroupInfo>{{"Research", true, false, 2}, {"", false, true, 0}},
                            .error = "x"};
const Event fullEvent{.event = Event::Kind::stubOutdated,
                      .profileDirectory = "Default",
                      .tabGroup = "Research",
                      .count = 0,
                      .chromeRunning = false,
                      .confidence = CountConfidence::certain,
                      .trusted = true,
                      .stubRevision = 7,
                      .improvements = std::vector<std::string>{"a", "b"}};

TEST(Messages, WhatIsWrittenReadsBackEqual) {
  for (const Request& request : {fullRequest, Request{.id = 1, .op = Request::Op::status}}) {
    EXPECT_EQ(decodeRequest(*encodeMessage(request)), request);
  }
  for (const Response& response : {fullResponse, Response{.id = -1, .ok = false}}) {
    EXPECT_EQ(InboundMessage::decode(*encodeMessage(response)), InboundMessage{response});
  }
  for (const Event& event : {fullEvent, Event{.event = Event::Kind::unknown}}) {
    EXPECT_EQ(InboundMessage::decode(*encodeMessage(event)), InboundMessage{event});
  }
}

TEST(Messages, TakeOneCompactLineWithNothingButWhatIsSet) {
  EXPECT_EQ(encodeMessage(Request{.id = 1, .op = Request::Op::status}), R"({"id":1,"op":"status"})");
  EXPECT_EQ(encodeMessage(Response{.id = 2, .ok = true, .action = Response::Action::raised}),
            R"({"id":2,"ok":true,"action":"raised"})");
  const std::string text = *encodeMessage(fullRequest);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  // Another reader sees the same, by the names of the fields.
  const nlohmann::json json = parseJSON(text);
  EXPECT_EQ(json.size(), 16);
  EXPECT_EQ(json["profileName"], *fullRequest.profileName);
  EXPECT_EQ(json["timeout"], 0.1);
  EXPECT_EQ(json["urls"].size(), 2);
}

/// What goes over the wire, byte for byte: other programs write and read it as well.
TEST(Messages, HaveTheNamesOfTheProtocol) {
  EXPECT_EQ(encodeMessage(fullRequest),
            R"({"id":9223372036854775807,"op":"closeWindows","profileDirectory":"Profile 1",)"
            "\"profileName\":\"W\u00F6rk \\\"x\\\"\\n\u2028\\\\\","
            R"("tabGroup":"","bundleID":"app.corvana.0123456789ab","pid":-2147483648,"urls":["https://a/",""],)"
            R"("timeout":0.1,"protocolVersion":2,"limit":-1,"includeIncognito":true,"countAppWindows":false,)"
            R"("ownWindow":true,"deep":false,"stubRevision":7})");
  EXPECT_EQ(encodeMessage(fullResponse),
            R"({"id":4,"ok":true,"action":"openedGroup","chromePID":812,"windowCount":3,"confidence":"unclassified",)"
            R"("closed":1,"remaining":2,"blocked":true,"tabGroups":[)"
            R"({"name":"Research","isOpen":true,"isSaved":false,"windowCount":2},)"
            R"({"name":"","isOpen":false,"isSaved":true,"windowCount":0}],"error":"x"})");
  EXPECT_EQ(
      encodeMessage(fullEvent),
      R"({"event":"stubOutdated","profileDirectory":"Default","tabGroup":"Research","count":0,)"
      R"("chromeRunning":false,"confidence":"certain","trusted":true,"stubRevision":7,"improvements":["a","b"]})");

  using Op = Request::Op;
  using Action = Response::Action;
  using Kind = Event::Kind;
  for (const auto& [op, name] : std::initializer_list<std::pair<Op, const char*>>{{Op::hello, "hello"},
                                                                                  {Op::activate, "activate"},
                                                                                  {Op::noteLaunch, "noteLaunch"},
                                                                                  {Op::closeWindows, "closeWindows"},
                                                                                  {Op::status, "status"},
                                                                                  {Op::listTabGroups, "listTabGroups"},
                                                                                  {Op::bye, "bye"}}) {
    EXPECT_EQ(encodeMessage(Request{.id = 1, .op = op}), std::string(R"({"id":1,"op":")") + name + "\"}");
  }
  for (const auto& [action, name] :
       std::initializer_list<std::pair<Action, const char*>>{{Action::raised, "raised"},
                                                             {Action::nothingToRaise, "nothingToRaise"},
                                                             {Action::openedGroup, "openedGroup"},
                                                             {Action::groupNotFound, "groupNotFound"},
                                                             {Action::acknowledged, "acknowledged"}}) {
    EXPECT_EQ(encodeMessage(Response{.id = 1, .ok = false, .action = action}),
              std::string(R"({"id":1,"ok":false,"action":")") + name + "\"}");
  }
  for (const auto& [kind, name] :
       std::initializer_list<std::pair<Kind, const char*>>{{Kind::windows, "windows"},
                                                           {Kind::axPermission, "axPermission"},
                                                           {Kind::shuttingDown, "shuttingDown"},
                                                           {Kind::routingHistoryChanged, "routingHistoryChanged"},
                                                           {Kind::stubOutdated, "stubOutdated"},
                                                           {Kind::unknown, "unknown"}}) {
    EXPECT_EQ(encodeMessage(Event{.event = kind}), std::string(R"({"event":")") + name + "\"}");
  }
}

TEST(Messages, WhatCannotBeWrittenIsNotWritten) {
  EXPECT_EQ(encodeMessage(Request{.id = 1, .profileName = "\xff"}), std::nullopt);
  EXPECT_EQ(encodeMessage(Request{.id = 1, .urls = std::vector<std::string>{"a", "\xC3"}}), std::nullopt);
  EXPECT_EQ(encodeMessage(Request{.id = 1, .timeout = std::numeric_limits<double>::infinity()}), std::nullopt);
  EXPECT_EQ(encodeMessage(Response{.tabGroups = std::vector<TabGroupInfo>{{"\xff"}}}), std::nullopt);
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(Messages, RequestsAreReadStrictly) {
  struct Row {
    std::string json;
    bool isGood;
  };
  for (const Row& row : {
           Row{R"({"op":"bye","id":0,"unknown":{"a":[1,null]}})", true},
           Row{R"( { "id" : 1 , "op" : "status" , "pid" : null } )"
               "\r",
               true},
           Row{R"({"id":1.0,"op":"status"})", true},
           Row{R"({"id":1e3,"op":"status","limit":-0.0})", true},
           Row{R"({"id":-9223372036854775808,"op":"status"})", true},
           Row{R"({"id":1,"op":"status","timeout":6})", true},
           Row{R"({"id":1,"id":2,"op":"status","pid":1,"pid":null})", true},
           Row{R"({"\u0069d":1,"op":"st\u0061tus"})", true},
           Row{R"({"id":1.5,"op":"status"})", false},
           Row{R"({"id":1e30,"op":"status"})", false},
           Row{R"({"id":9223372036854775808,"op":"status"})", false},
           Row{R"({"id":99999999999999999999999,"op":"status"})", false},
           Row{R"({"id":"1","op":"status"})", false},
           Row{R"({"id":true,"op":"status"})", false},
           Row{R"({"id":null,"op":"status"})", false},
           Row{R"({"id":1})", false},
           Row{R"({"op":"status"})", false},
           Row{R"({"id":1,"op":"Status"})", false},
           Row{R"({"id":1,"op":"open"})", false},
           Row{R"({"id":1,"op":null})", false},
           Row{R"({"id":1,"op":"status","pid":2147483648})", false},
           Row{R"({"id":1,"op":"status","pid":-2147483649})", false},
           Row{R"({"id":1,"op":"status","urls":["a",1]})", false},
           Row{R"({"id":1,"op":"status","urls":"a"})", false},
           Row{R"({"id":1,"op":"status","deep":1})", false},
           Row{R"({"id":1,"op":"status","timeout":"6"})", false},
           Row{R"({"id":1,"op":"status"} x)", false},
           Row{R"({"id":1,"op":"status")", false},
           Row{R"([{"id":1,"op":"status"}])", false},
           Row{"{\"id\":1,\"op\":\"status\",\"profileName\":\"\xff\"}", false},
           Row{"", false},
           Row{std::string("{\"id\":1,\"op\":\"status\",\"x\":") + std::string(100'000, '['), false},
           Row{std::string("\0", 1), false},
           Row{R"({"id":1,"op":"bye","profileName":"\ud83d\ude00\ud7ff\ue000"})", true},
           Row{R"({"id":1,"op":"bye","profileName":"\udc00"})", false},
           // What no field could hold, under a key that nobody reads.
           Row{R"({"id":1,"op":"bye","x":{"\udfffx":"\udc00"}})", true},
           Row{R"({"id":1,"op":"bye","x":[1e400,-1e400,1e99999999999999999999,"\"1e400"]})", true},
           Row{R"({"id":1,"x":)" + std::string(100'000, '[') + "{\"y\":[1,\"\",null]}" + std::string(100'000, ']') +
                   R"(,"op":"bye"})",
               true},
           Row{R"({"id":1,"op":"bye","x":)" + nested(64) + "}", true},
           Row{R"({"id":1,"op":"bye","x":)" + nested(63) + "}", true},
           Row{R"({"id":1,"op":"bye","urls":)" + nested(100) + "}", false},
           Row{R"({"id":9007199254740993.0,"op":"bye"})", true},
           Row{R"({"id":0.9223372036854775808e19,"op":"bye"})", false},
           Row{R"({"id":1e99999999999999999999,"op":"bye"})", false},
           Row{R"({"id":1e-99999999999999999999,"op":"bye"})", false},
           Row{R"({"id":1,"op":"bye","x":1.2345678901234567891e-340,"y":0.00000000000000000000000000001e-320})", true},
           Row{R"({"id":-9223372036854775809,"op":"bye"})", false},
           Row{R"({"id":-9223372036854775808,"op":"bye"})", true},
           Row{R"({"id":1,"op":"bye"})" + std::string("\0x", 2), false},
       }) {
    EXPECT_EQ(decodeRequest(row.json).has_value(), row.isGood) << row.json.substr(0, 100);
  }
  EXPECT_EQ(decodeRequest(R"({"id":1,"id":2,"op":"bye","pid":1,"pid":null})"),
            (Request{.id = 2, .op = Request::Op::bye}))
      << "the last of two members with one name counts";
  for (const auto& [text, number] : std::initializer_list<std::pair<const char*, std::int64_t>>{
           {"1e3", 1000},
           {"-12.50e1", -125},
           {"100e-2", 1},
           {"9007199254740993.0", 9'007'199'254'740'993},
           {"0.9223372036854775807E+19", 9'223'372'036'854'775'807},
           {"-92233720368547758080e-1", std::numeric_limits<std::int64_t>::min()},
           {"-0.000", 0},
           {"0e300", 0}}) {
    const auto request = decodeRequest(std::string(R"({"op":"bye","id":)") + text + "}");
    ASSERT_TRUE(request) << text;
    EXPECT_EQ(request->id, number) << text;
  }
  EXPECT_EQ(decodeRequest(R"({"id":0e300,"op":"bye","timeout":0.3})")->id, 0);
  EXPECT_EQ(decodeRequest(R"({"id":0e300,"op":"bye","timeout":0.3})")->timeout, 0.3);
  EXPECT_EQ(decodeRequest(R"({"id":-7,"op":"bye","timeout":-66083834444444444.444e-3})")->timeout,
            -66083834444444.444444);
  EXPECT_EQ(decodeRequest(R"({"id":1,"op":"bye","timeout":1e-400})")->timeout, 0);
  EXPECT_FALSE(decodeRequest(R"({"id":1,"op":"bye","timeout":1e400})"));
  EXPECT_FALSE(decodeRequest(R"({"id":1,"op":"bye","timeout":01})"));
  const std::string large = R"({"id":7,"op":"bye","profileName":")" + std::string(3'000'000, 'x') + "\"}";
  EXPECT_EQ(decodeRequest(large)->profileName->size(), 3'000'000);
}

TEST(Messages, EventsAndResponsesAreToldApart) {
  struct Row {
    const char* json;
    const char* kind;
  };
  for (const Row& row : {
           Row{R"({"id":4,"ok":true,"action":"raised","chromePID":812})", "response"},
           Row{R"({"id":4,"ok":true,"action":"raised","chromePID":812,"event":"windows"})", "event"},
           Row{R"({"event":"somethingNew","count":3})", "event"},
           Row{R"({"id":4,"ok":true,"event":5})", "response"},
           Row{R"({"id":4,"ok":true,"event":"windows","count":"x"})", "response"},
           Row{R"({"event":5})", "nothing"},
           Row{R"({"id":4})", "nothing"},
           Row{R"({"id":4,"ok":true,"action":"flown"})", "nothing"},
           Row{R"({"event":"windows","confidence":"maybe"})", "nothing"},
           Row{R"({"id":4,"ok":true,"tabGroups":[{"name":"a","isOpen":true,"isSaved":true}]})", "nothing"},
       }) {
    const auto message = InboundMessage::decode(row.json);
    const char* kind = !message ? "nothing" : message->content.index() == 0 ? "response" : "event";
    EXPECT_STREQ(kind, row.kind) << row.json;
  }
  EXPECT_EQ(InboundMessage::decode(R"({"event":"somethingNew","count":3})"),
            (InboundMessage{Event{.event = Event::Kind::unknown, .count = 3}}));
}

}  // namespace
}  // namespace corvana
