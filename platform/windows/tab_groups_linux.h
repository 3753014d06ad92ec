#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"
#include "platform/windows/browser_windows.h"
#include "platform/windows/chrome_accessibility_linux.h"
#include "platform/windows/tab_group_texts.h"
#include "platform/windows/window_reader_linux.h"

namespace corvana {

/// The tab groups of Chrome's windows: the buttons for saved ones on the bookmarks bar, which are there when the bar is
/// hidden, too, and the headers of open ones in the tab strip. See BrowserWindows for the operations. Main thread.
class TabGroups {
 public:
  using Window = BrowserWindows::Window;
  using Completion = BrowserWindows::Completion<bool>;
  using GroupsCompletion = BrowserWindows::Completion<std::optional<std::vector<BrowserTabGroup>>>;

  /// `changed` is told of changes while they are watched.
  TabGroups(EventLoop& loop, WindowReader& reader, ChromeAccessibility& chrome, Task changed);
  TabGroups(const TabGroups&) = delete;
  TabGroups& operator=(const TabGroups&) = delete;

  /// Chrome is that process now, or its being on the bus has changed.
  void setProcess(std::optional<pid_t> process);

  /// Watched are the saved groups of those windows whose groups were asked for while they are watched.
  void setWatches(bool watches);

  void read(Window window, GroupsCompletion completion);
  void open(Window window, const std::string& name, Completion completion);
  void close(Window window, const std::string& name, Completion completion);
  void moveToOwnWindow(Window window, const std::string& name, Completion completion);

 private:
  using Node = ChromeAccessibility::Node;
  struct View;
  using Views = std::vector<std::pair<Node, std::string>>;

  void readView(Window window, ChromeAccessibility::Answer<View> answer);
  void readSaved(const Node& browserView, ChromeAccessibility::Answer<Views> answer);
  void readStrip(const Node& browserView, View view, ChromeAccessibility::Answer<View> answer);
  void readNames(const std::vector<Node>& nodes, ChromeAccessibility::Answer<Views> answer);
  void watch(Window window, const View& view);
  void pressInMenu(Window window, const std::string& name, std::string button, Completion completion);
  void awaitMenu(const Node& frame, const std::string& name, const std::string& button,
                 std::chrono::steady_clock::time_point deadline, Completion completion);
  void press(const Node& menu, const std::string& button, Completion completion);
  const TabGroupTexts& texts();

  EventLoop& loop_;
  WindowReader& reader_;
  ChromeAccessibility& chrome_;
  Task changed_;
  std::optional<pid_t> process_;
  std::optional<TabGroupTexts> texts_;
  bool watches_ = false;
  std::map<Window, std::map<Node, Watch>> buttons_;
  std::map<std::uint64_t, Timer> waits_;
  std::uint64_t nextWait_ = 0;
  Lifetime lifetime_;
};

}  // namespace corvana
