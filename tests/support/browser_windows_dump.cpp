// Shows what the platform sees of Chrome's windows, as JSON lines on stdout, when it changes and when it is asked:
// commands on stdin, one JSON object a line, {"id": 1, "op": "read", "window": 4194306}; each is answered by a line
// with its id. Ends with its input.

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/desktop/launch_context_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/session_bus_linux.h"
#include "platform/windows/browser_windows_linux.h"

namespace corvana {
namespace {

using Json = nlohmann::json;

template <class Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

void print(const Json& line) {
  std::puts(line.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
  (void)std::fflush(stdout);
}

class Dump final : BrowserWindows::Observer {
 public:
  Dump(EventLoop& loop, BrowserWindows& windows) : loop_(loop), windows_(windows) { windows_.setObserver(this); }

  void serve(const std::string& line) {
    const Json command = Json::parse(line);
    const std::string op = command.at("op");
    const auto window = command.value("window", BrowserWindows::Window{0});
    const std::string name = command.value("name", "");
    const auto answer = [id = command.at("id")](const Json& result) { print({{"id", id}, {"result", result}}); };
    if (op == "read") {
      windows_.read(window, [answer](const auto& reading) {
        if (!reading) return answer(nullptr);
        answer(
            {{"name", reading->name}, {"title", orNull(reading->title)}, {"button", orNull(reading->profileButton)}});
      });
    } else if (op == "raise") {
      windows_.raise(command.at("windows"), answer);
    } else if (op == "close") {
      windows_.close(window);
      answer(true);
    } else if (op == "prompting") {
      windows_.promptingWindows(answer);
    } else if (op == "watch") {
      windows_.setWatchesTabGroups(command.at("on"));
      answer(true);
    } else if (op == "groups") {
      windows_.tabGroups(window, [answer](const auto& groups) {
        if (!groups) return answer(nullptr);
        Json result = Json::object();
        for (const BrowserTabGroup& group : *groups) {
          result[group.name] = {{"isSaved", group.isSaved},
                                {"isOpen", group.isOpen},
                                {"isHere", group.isHere},
                                {"isAlone", group.isAlone}};
        }
        answer(result);
      });
    } else if (op == "openGroup") {
      windows_.openTabGroup(window, name, answer);
    } else if (op == "closeGroup") {
      windows_.closeTabGroup(window, name, answer);
    } else if (op == "moveGroup") {
      windows_.moveTabGroupToOwnWindow(window, name, answer);
    } else if (op == "active") {
      answer(orNull(windows_.activeWindow()));
    } else if (op == "wait") {  // proves that the loop goes on
      waits_.push_back(loop_.after(std::chrono::milliseconds(1), [answer] { answer(true); }));
    } else {
      answer("unknown");
    }
  }

 private:
  void windowsChanged() override {
    Json list = Json::array();
    for (const BrowserWindow& window : windows_.windows()) {
      list.push_back({{"id", window.id},
                      {"app", window.isAppWindow},
                      {"minimized", window.isMinimized},
                      {"mark", window.launchMark}});
    }
    print({{"windows", list}});
  }
  void sightChanged() override {
    const BrowserSight sight = windows_.sight();
    print({{"sight",
            {{"process", orNull(sight.process)},
             {"seesWindows", sight.seesWindows},
             {"isTrusted", sight.isTrusted},
             {"problem", sight.problem}}}});
  }
  void tabGroupsChanged() override { print({{"groupsChanged", true}}); }

  EventLoop& loop_;
  BrowserWindows& windows_;
  std::vector<Timer> waits_;
};

}  // namespace
}  // namespace corvana

int main() {
  using namespace corvana;
  EventLoop loop;
  SessionBus bus(loop);
  const LaunchContext context("app.corvana.test");
  BrowserWindowsLinux windows(loop, bus.get(), context, "com.google.Chrome");
  Dump dump(loop, windows);
  std::string input;
  const Watch commands = loop.whenReadable(STDIN_FILENO, [&] {
    std::array<char, 4096> buffer;
    const ssize_t length = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (length <= 0) return loop.quit(0);
    input.append(buffer.data(), static_cast<std::size_t>(length));
    for (std::size_t end = 0; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1)) {
      dump.serve(input.substr(0, end));
    }
  });
  return loop.run();
}
