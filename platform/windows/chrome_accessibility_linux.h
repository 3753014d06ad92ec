#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"
#include "platform/windows/accessibility_bus_linux.h"
#include "platform/windows/window_pairing.h"

namespace corvana {

/// The tree of nodes that a running Chrome shows to assistive technology (AT-SPI 2's interfaces Accessible, Component
/// and Action): its windows, their views, and the actions of those. Names of classes are Chromium's own, and are in no
/// language. Every answer comes later; nothing, when the node is gone, Chrome does not answer in time, or is not on the
/// bus. Web pages are never looked into. Main thread.
class ChromeAccessibility {
 public:
  /// A node's place on the bus.
  using Node = std::string;
  template <class Result>
  using Answer = std::function<void(std::optional<Result>)>;

  static constexpr std::string_view windowClass = "BrowserRootView";

  /// `changed` is told that `isPresent` has changed, or that it will not any more.
  ChromeAccessibility(EventLoop& loop, sd_bus* sessionBus, Task changed);

  /// Looks for that process on the bus; nothing ends the connection.
  void setProcess(std::optional<pid_t> process);

  /// Whether the process is on the bus. It is from its start on, or never.
  bool isPresent() const { return !application_.empty(); }
  /// Whether it is too late to expect it there.
  bool isAbsent() const { return isAbsent_; }

  /// Of the whole application: its windows, and what floats above them.
  static const Node& root();

  void children(const Node& node, Answer<std::vector<Node>> answer);
  void name(const Node& node, Answer<std::string> answer);
  void className(const Node& node, Answer<std::string> answer);
  /// Chromium's own name of a view, "view_6"; empty for most.
  void viewID(const Node& node, Answer<std::string> answer);
  /// What stands in a field.
  void text(const Node& node, Answer<std::string> answer);
  /// On the display.
  void extents(const Node& node, Answer<WindowPairing::Extents> answer);

  /// The node's children of that class.
  void childrenOfClass(const Node& node, std::string_view className, Answer<std::vector<Node>> answer);

  /// From the node by the first child of each class in turn; the last one.
  void descend(const Node& node, std::vector<std::string_view> classes, Answer<Node> answer);

  /// The node's action of that number; true when Chrome has done it.
  void act(const Node& node, int action, Answer<bool> answer);

  /// Whether Chrome is to tell of changes of names, which costs it a little for every one.
  void setTellsNames(bool tells);

  /// Calls `changed` when the node's name changes, for as long as the watch lives and Chrome tells of names.
  [[nodiscard]] Watch watchName(const Node& node, Task changed);

  /// Asks the same about each of the items at once, and answers with the answers in their order.
  template <class Result, class Item>
  static void forEach(const std::vector<Item>& items, const std::function<void(const Item&, Answer<Result>)>& ask,
                      std::function<void(std::vector<std::optional<Result>>)> done);

 private:
  /// How long after its start Chrome may appear on the bus.
  static constexpr std::chrono::seconds appearanceLimit{5};

  void find();
  void become(const std::string& service);
  void giveUp();
  void attribute(const Node& node, std::string name, Answer<std::string> answer);
  void call(const Node& node, const char* interface, const char* method, AccessibilityBus::Answer answer,
            const std::function<void(sd_bus_message*)>& append = {});

  EventLoop& loop_;
  Task changed_;
  std::optional<pid_t> process_;
  std::string application_;
  bool isAbsent_ = false;
  Watch appearance_;
  Timer patience_;
  AccessibilityBus bus_;
  Lifetime lifetime_;
};

template <class Result, class Item>
void ChromeAccessibility::forEach(const std::vector<Item>& items,
                                  const std::function<void(const Item&, Answer<Result>)>& ask,
                                  std::function<void(std::vector<std::optional<Result>>)> done) {
  struct Gathering {
    std::vector<std::optional<Result>> results;
    std::size_t missing;
    std::function<void(std::vector<std::optional<Result>>)> done;
  };
  if (items.empty()) return done({});
  const auto gathering = std::make_shared<Gathering>(
      Gathering{std::vector<std::optional<Result>>(items.size()), items.size(), std::move(done)});
  for (std::size_t i = 0; i < items.size(); ++i) {
    ask(items[i], [gathering, i](std::optional<Result> result) {
      gathering->results[i] = std::move(result);
      if (--gathering->missing == 0) gathering->done(std::move(gathering->results));
    });
  }
}

}  // namespace corvana
