#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop/browser_process_linux.h"
#include "platform/desktop/launch_context_linux.h"
#include "platform/loop/event_loop_linux.h"
#include "platform/loop/lifetime.h"
#include "platform/windows/browser_window_list_x11.h"
#include "platform/windows/browser_windows.h"
#include "platform/windows/chrome_accessibility_linux.h"
#include "platform/windows/tab_groups_linux.h"
#include "platform/windows/window_raiser_x11.h"
#include "platform/windows/window_reader_linux.h"

namespace corvana {

/// Chrome's windows on Linux: as the X server and its window manager keep them, with what Chrome says of them on the
/// accessibility bus. In Wayland sessions no windows are seen. Idle it is woken by nothing. Main thread.
class BrowserWindowsLinux final : public BrowserWindows {
 public:
  /// How long Chrome may take for an answer.
  static constexpr std::chrono::seconds answerLimit = AccessibilityBus::answerLimit;

  /// `bundleIdentifier` is the browser's; `sessionBus` may be null. What is passed must outlive this object.
  BrowserWindowsLinux(EventLoop& loop, sd_bus* sessionBus, const LaunchContext& context, std::string bundleIdentifier);
  BrowserWindowsLinux(const BrowserWindowsLinux&) = delete;
  BrowserWindowsLinux& operator=(const BrowserWindowsLinux&) = delete;

  void setObserver(Observer* observer) override;
  BrowserSight sight() const override;
  std::vector<BrowserWindow> windows() const override { return list_.windows(); }
  std::optional<Window> activeWindow() const override;
  /// Looks again for a while where the display and the accessibility bus are apart, as when a window opens.
  void read(Window window, Completion<std::optional<BrowserWindowReading>> completion) override;
  void raise(std::vector<Window> windows, Completion<bool> completion) override;
  void close(Window window) override;
  void promptingWindows(Completion<std::vector<Window>> completion) override;
  void setWatchesTabGroups(bool watches) override;
  void tabGroups(Window window, Completion<std::optional<std::vector<BrowserTabGroup>>> completion) override;
  void openTabGroup(Window window, std::string name, Completion<bool> completion) override;
  void closeTabGroup(Window window, std::string name, Completion<bool> completion) override;
  void moveTabGroupToOwnWindow(Window window, std::string name, Completion<bool> completion) override;

 private:
  void onProcess();
  void isPrompting(Window window, ChromeAccessibility::Answer<bool> answer);
  void chromeChanged();
  void groupsChanged();
  void listChanged();
  void tell();

  EventLoop& loop_;
  Observer* observer_ = nullptr;
  // What the observer knows of.
  std::optional<BrowserSight> toldSight_;
  std::optional<std::vector<BrowserWindow>> toldWindows_;
  bool haveGroupsChanged_ = false;
  bool isToTell_ = false;
  BrowserProcess process_;
  BrowserWindowListX11 list_;
  ChromeAccessibility chrome_;
  WindowReader reader_;
  TabGroups groups_;
  WindowRaiserX11 raiser_;
  Lifetime lifetime_;
};

}  // namespace corvana
