// A proxy app's link and a helper as two processes over the real socket, with the system's own main loop and threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>

#include "core/identity/corvana.h"
#include "core/ipc/helper_link.h"
#include "platform/desktop/workspace_linux.h"
#include "platform/files/property_list.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/read_queue_linux.h"
#include "tests/support/temporary_home.h"

namespace corvana {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using State = HelperLink::State;

class TwoProcesses : public testing::Test {
 protected:
  TwoProcesses() {
    const auto bundle = Corvana::installedHelperURL();
    std::filesystem::create_directories(bundle / "Contents/MacOS");
    std::filesystem::copy_file(SCRIPTED_HELPER, bundle / "Contents/MacOS/Helper");
    std::ofstream(bundle / "Contents/Info.plist") << PropertyList::xml(
        {{"CFBundleIdentifier", {std::string("app.corvana.helper")}}, {"CFBundleExecutable", {std::string("Helper")}}});
    link.onEvent = [this](const Event& event) { events.push_back(event); };
    link.onStateChange = [this](State state) { states.push_back(state); };
  }
  ~TwoProcesses() override {
    if (helper > 0) ::kill(helper, SIGKILL);
  }

  void connect() {
    link.connect({.op = Request::Op::hello, .profileDirectory = "Profile 1", .pid = ::getpid()});
    awaitConnection();
  }
  void awaitConnection() {
    loop.runUntil([this] { return link.state() == State::connected; });
    helper = ask(Request::Op::activate).chromePID.value_or(0);
  }
  Response ask(Request::Op op, std::chrono::milliseconds timeout = 30s) {
    std::optional<Response> answer;
    link.request(op, timeout, nullptr, [&](const Response& response) { answer = response; });
    loop.runUntil([&] { return answer.has_value(); });
    return *answer;
  }

  support::TemporaryHome home;
  EventLoop loop;
  ReadQueueLinux queue{"app.corvana.link"};
  LaunchContext context{"app.corvana.test"};
  WorkspaceLinux workspace{loop, context, 10ms};
  HelperLink link{loop, queue, workspace};
  std::vector<Event> events;
  std::vector<State> states;
  pid_t helper = 0;
};

TEST_F(TwoProcesses, TalkOverTheSocket) {
  connect();  // nobody answers at first, so that the link starts the helper
  EXPECT_GT(helper, 0);
  ASSERT_GE(states.size(), 4);
  EXPECT_EQ(states[0], State::connecting);
  EXPECT_EQ(states[1], State::disconnected);
  EXPECT_EQ(states.back(), State::connected);
  EXPECT_EQ(ask(Request::Op::listTabGroups).tabGroups->at(0).name, "Research");

  std::vector<std::int64_t> order;
  for (int i = 0; i < 3; ++i) {
    link.request(
        Request::Op::status, 30s, [](Request& request) { request.limit = 3; },
        [&](const Response& response) { order.push_back(response.id); });
  }
  loop.runUntil([&] { return order.size() == 3; });
  EXPECT_TRUE(order[0] > order[1] && order[1] > order[2]) << "answered in reverse";

  link.post(Request::Op::noteLaunch, [](Request& request) { request.profileDirectory = "Profile 1"; });
  loop.runUntil([&] { return !events.empty(); });
  EXPECT_THAT(events, ElementsAre(Event{.event = Event::Kind::windows, .profileDirectory = "Profile 1", .count = 1}));
  EXPECT_EQ(ask(Request::Op::closeWindows, 20ms).error, "timed out");

  link.shutdown();
  EXPECT_EQ(ask(Request::Op::status).error, "not connected");
  link.connect({.op = Request::Op::hello});
  (void)ask(Request::Op::activate);
  const std::string requests = support::readFile(home.path() / "requests");
  EXPECT_THAT(requests, testing::HasSubstr(R"({"id":0,"op":"bye"})"));
  EXPECT_THAT(requests, testing::StartsWith(R"({"id":0,"op":"hello","profileDirectory":"Profile 1","pid":)" +
                                            std::to_string(::getpid()) + R"(,"protocolVersion":2})"));
}

TEST_F(TwoProcesses, AKilledHelperComesBack) {
  connect();
  const pid_t first = helper;
  std::optional<Response> answer;
  link.request(Request::Op::closeWindows, 30s, nullptr, [&](const Response& response) { answer = response; });
  ::kill(first, SIGKILL);
  loop.runUntil([&] { return answer.has_value(); });
  EXPECT_EQ(answer->error, "helper disconnected");
  awaitConnection();
  EXPECT_NE(helper, first);

  // Another one does not get in its way.
  const int status =
      std::system(("'" + (Corvana::installedHelperURL() / "Contents/MacOS/Helper").string() + "'").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 3);
  EXPECT_EQ(ask(Request::Op::activate).chromePID, helper);
}

TEST_F(TwoProcesses, AStoppedHelperHoldsNobodyUp) {
  connect();
  ::kill(helper, SIGSTOP);
  EXPECT_EQ(ask(Request::Op::activate, 20ms).error, "timed out");
  // New connections wait in the backlog of a helper that does not accept, and are given up when that is full.
  std::vector<std::unique_ptr<HelperLink>> others;
  for (int i = 0; i < 20; ++i) {
    others.push_back(std::make_unique<HelperLink>(loop, queue, workspace));
    others.back()->connect({.op = Request::Op::hello});
    if (others.back()->state() == State::disconnected) break;
  }
  EXPECT_EQ(others.back()->state(), State::disconnected);
  others.clear();
  ::kill(helper, SIGCONT);
  EXPECT_EQ(ask(Request::Op::activate).chromePID, helper) << "the late answer is not taken for this one";
}

}  // namespace
}  // namespace corvana
