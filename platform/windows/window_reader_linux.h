#pragma once

#include <chrono>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"
#include "platform/windows/browser_window_list_x11.h"
#include "platform/windows/browser_windows.h"
#include "platform/windows/chrome_accessibility_linux.h"

namespace corvana {

/// Reads what Chrome's windows say of themselves: finds the frame of each window on the accessibility bus, once for its
/// life, and reads its name together with the title that the window has at that moment. The bus and the display are
/// often a little apart; then this looks again. Main thread.
class WindowReader {
 public:
  using Window = BrowserWindows::Window;
  using Node = ChromeAccessibility::Node;

  /// How long it looks again before the answer is nothing.
  static constexpr std::chrono::seconds patience{2};

  WindowReader(EventLoop& loop, BrowserWindowListX11& list, ChromeAccessibility& chrome);
  WindowReader(const WindowReader&) = delete;
  WindowReader& operator=(const WindowReader&) = delete;

  /// See BrowserWindows::read.
  void read(Window window, BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion);

  /// The window's frame. Looks for it at least once, and again for that long.
  void frame(Window window, ChromeAccessibility::Answer<Node> answer,
             std::chrono::steady_clock::duration limit = patience);

  /// Chrome is another process than before.
  void forget();

 private:
  static constexpr std::chrono::milliseconds firstPause{5};
  static constexpr std::chrono::milliseconds longestPause{500};

  /// Somebody who waits for the window's frame.
  struct Request {
    Window window;
    ChromeAccessibility::Answer<Node> answer;
    std::chrono::steady_clock::time_point deadline;
  };
  /// The round of looking that is going on: what was seen when it began.
  struct Round {
    std::vector<Window> windows;
    std::vector<std::optional<WindowPairing::Look>> looks;
    std::vector<Node> nodes;
    std::vector<Node> frames;
    std::vector<WindowPairing::Look> frameLooks;
  };

  void look();
  void classify(const std::vector<Node>& nodes);
  void readFrames();
  void confirm();
  void takePairs(const std::vector<Node>& nodes);
  void endRound();
  void lookAgainLater();
  std::vector<Window> unpairedWindows() const;
  void readPaired(Window window, const Node& frame, std::chrono::steady_clock::time_point deadline,
                  BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion);
  void readButton(const Node& frame, BrowserWindowReading reading,
                  BrowserWindows::Completion<std::optional<BrowserWindowReading>> completion);

  EventLoop& loop_;
  BrowserWindowListX11& list_;
  ChromeAccessibility& chrome_;
  std::map<Window, Node> pairs_;
  /// The application's nodes, and whether they are windows.
  std::map<Node, bool> isWindow_;
  /// The nodes, when every window among them had been paired: then the same nodes are nothing new.
  std::vector<Node> settledNodes_;
  std::list<Request> requests_;
  std::optional<Round> round_;
  std::chrono::milliseconds pause_ = firstPause;
  Timer nextRound_;
  Lifetime lifetime_;
};

}  // namespace corvana
