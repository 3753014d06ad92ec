#include "platform/windows/browser_windows_linux.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace corvana {

BrowserWindowsLinux::BrowserWindowsLinux(EventLoop& loop, sd_bus* sessionBus, const LaunchContext& context,
                                         std::string bundleIdentifier)
    : loop_(loop),
      process_(loop, std::move(bundleIdentifier), [this] { onProcess(); }),
      list_(loop, [this] { listChanged(); }),
      chrome_(loop, sessionBus, [this] { chromeChanged(); }),
      reader_(loop, list_, chrome_),
      groups_(loop, reader_, chrome_, [this] { groupsChanged(); }),
      raiser_(loop, list_, context) {
  onProcess();
}

void BrowserWindowsLinux::onProcess() {
  reader_.forget();
  chrome_.setProcess(process_.id());
  list_.setProcess(process_.id());
  tell();
}

void BrowserWindowsLinux::chromeChanged() {
  groups_.setProcess(process_.id());
  tell();
}

void BrowserWindowsLinux::groupsChanged() {
  haveGroupsChanged_ = true;
  tell();
}

void BrowserWindowsLinux::listChanged() {
  raiser_.check();
  tell();
}

/// In one go for all that changes in a turn, and never within a call from outside.
void BrowserWindowsLinux::tell() {
  if (std::exchange(isToTell_, true)) return;
  loop_.post(lifetime_.guard([this] {
    isToTell_ = false;
    if (observer_ == nullptr) return;
    const auto toldSight = std::exchange(toldSight_, sight());
    const auto toldWindows = std::exchange(toldWindows_, windows());
    if (toldSight != toldSight_) observer_->sightChanged();
    if (toldWindows != toldWindows_ && observer_ != nullptr) observer_->windowsChanged();
    if (std::exchange(haveGroupsChanged_, false) && observer_ != nullptr) observer_->tabGroupsChanged();
  }));
}

void BrowserWindowsLinux::setObserver(Observer* observer) {
  observer_ = observer;
  toldSight_.reset();
  toldWindows_.reset();
  tell();
}

BrowserSight BrowserWindowsLinux::sight() const {
  BrowserSight result{
      .process = process_.id(), .seesWindows = list_.isComplete(), .isTrusted = chrome_.isPresent(), .problem = {}};
  if (!result.process) return result;
  if (!result.seesWindows) {
    result.problem = x11::isWaylandSession() ? "Chrome's windows cannot be seen in a Wayland session."
                                             : "There is no window manager to ask about Chrome's windows.";
  } else if (chrome_.isAbsent()) {
    result.problem = "Chrome was started while accessibility was off. Quit Chrome and open it again.";
  }
  return result;
}

std::optional<BrowserWindows::Window> BrowserWindowsLinux::activeWindow() const {
  const Window window = list_.activeWindow();
  return list_.contains(window) ? std::optional(window) : std::nullopt;
}

void BrowserWindowsLinux::read(Window window, Completion<std::optional<BrowserWindowReading>> completion) {
  reader_.read(window, std::move(completion));
}

void BrowserWindowsLinux::raise(std::vector<Window> windows, Completion<bool> completion) {
  raiser_.raise(windows, std::move(completion));
}

void BrowserWindowsLinux::close(Window window) {
  if (!list_.contains(window) || list_.connection() == nullptr) return;
  list_.connection()->tellWindowManager(static_cast<xcb_window_t>(window), x11::Connection::Atom::closeWindow,
                                        {XCB_CURRENT_TIME, x11::onBehalfOfTheUser, 0, 0, 0});
}

/// What Chrome asks about a page stands in a dialog below the window's frame, beside the frame's own view. Its class
/// alone tells it from bubbles; texts are translated.
void BrowserWindowsLinux::isPrompting(Window window, ChromeAccessibility::Answer<bool> answer) {
  const auto hasPrompt = [this, answer](const std::optional<std::vector<ChromeAccessibility::Node>>& dialogs) {
    if (!dialogs || dialogs->empty()) return answer(false);
    ChromeAccessibility::forEach<ChromeAccessibility::Node, ChromeAccessibility::Node>(
        *dialogs,
        [this](const auto& dialog, const auto& one) {
          chrome_.descend(dialog, {"NonClientView", "BubbleFrameView", "DialogClientView", "MessageBoxView"}, one);
        },
        [answer](const auto& found) {
          answer(std::ranges::any_of(found, [](const auto& one) { return one.has_value(); }));
        });
  };
  const auto onFrame = [this, answer, hasPrompt](const std::optional<ChromeAccessibility::Node>& frame) {
    if (!frame) return answer(false);
    chrome_.childrenOfClass(*frame, "RootView", lifetime_.guard(hasPrompt));
  };
  reader_.frame(window, lifetime_.guard(onFrame), std::chrono::seconds(0));
}

void BrowserWindowsLinux::promptingWindows(Completion<std::vector<Window>> completion) {
  std::vector<Window> all;
  for (const BrowserWindow& window : windows()) all.push_back(window.id);
  if (all.empty()) return loop_.post(lifetime_.guard([completion = std::move(completion)] { completion({}); }));
  ChromeAccessibility::forEach<bool, Window>(
      all, [this](Window window, const auto& one) { isPrompting(window, one); },
      [all, completion = std::move(completion)](const std::vector<std::optional<bool>>& prompting) {
        std::vector<Window> result;
        for (std::size_t i = 0; i < all.size(); ++i) {
          if (prompting[i] == true) result.push_back(all[i]);
        }
        completion(std::move(result));
      });
}

void BrowserWindowsLinux::setWatchesTabGroups(bool watches) {
  groups_.setWatches(watches);
}

void BrowserWindowsLinux::tabGroups(Window window, Completion<std::optional<std::vector<BrowserTabGroup>>> completion) {
  groups_.read(window, std::move(completion));
}

void BrowserWindowsLinux::openTabGroup(Window window, std::string name, Completion<bool> completion) {
  groups_.open(window, name, std::move(completion));
}

void BrowserWindowsLinux::closeTabGroup(Window window, std::string name, Completion<bool> completion) {
  groups_.close(window, name, std::move(completion));
}

void BrowserWindowsLinux::moveTabGroupToOwnWindow(Window window, std::string name, Completion<bool> completion) {
  groups_.moveToOwnWindow(window, name, std::move(completion));
}

}  // namespace corvana
