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

TEST(Messages, WhatCannotBeWrittenIsNotWritten) {
  EXPECT_EQ(encodeMessage(Request{.id = 1, .profileName = "\xff"}), std::nullopt);
  EXPECT_EQ(encodeMessage(Request{.id = 1, .urls = std::vector<std::string>{"a", "\xC3"}}), std::nullopt);
  EXPECT_EQ(encodeMessage(Request{.id = 1, .timeout = std::numeric_limits<double>::infinity()}), std::nullopt);
  EXPECT_EQ(encodeMessage(Response{.tabGroups = std::vector<TabGroupInfo>{{"\xff"}}}), std::nullopt);
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
           Row{R"({"id":1,"op":"bye","x":{"\udfffx":1}})", false},
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
  EXPECT_EQ(decodeRequest(R"({"id":1e3,"op":"bye"})")->id, 1000);
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
