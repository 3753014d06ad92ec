#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/loop/scheduler.h"
#include "platform/windows/browser_windows.h"

namespace corvana::fakes {

/// A Chrome in memory, whose windows tests open, name and close.
class FakeBrowserWindows final : public BrowserWindows {
 public:
  /// A window with what it says of itself.
  struct FakeWindow {
    BrowserWindow window;
    std::optional<BrowserWindowReading> reading;
    std::vector<BrowserTabGroup> groups;
    /// Chrome asks its user before it closes it, or its page hangs.
    bool asksBeforeClosing = false;
    bool ignoresClosing = false;
    bool isPrompting = false;
  };

  explicit FakeBrowserWindows(Scheduler& scheduler) : scheduler_(scheduler) {}

  // The world, for tests to set up; they say what has changed.
  BrowserSight currentSight{.process = 4711, .seesWindows = true, .isTrusted = true};
  std::vector<FakeWindow> fakeWindows;
  std::optional<Window> active;
  /// The window manager refuses to bring windows forward.
  bool refusesToRaise = false;
  /// Chrome is stopped: nothing is answered until it goes on.
  bool isStopped = false;

  /// What was done to it, oldest first.
  std::vector<std::vector<Window>> raised;
  std::vector<Window> closed;
  std::vector<std::string> groupCalls;
  bool watchesGroups = false;

  void changed() {
    if (observer_ != nullptr) observer_->windowsChanged();
  }
  void sightHasChanged() {
    if (observer_ != nullptr) observer_->sightChanged();
  }
  void groupsHaveChanged() {
    if (observer_ != nullptr) observer_->tabGroupsChanged();
  }
  /// What was asked while Chrome was stopped is answered.
  void goOn() {
    isStopped = false;
    for (auto& answer : std::exchange(held_, {})) scheduler_.post(std::move(answer));
  }

  FakeWindow* find(Window id) {
    const auto found = std::ranges::find(fakeWindows, id, [](const FakeWindow& each) { return each.window.id; });
    return found == fakeWindows.end() ? nullptr : &*found;
  }

  void setObserver(Observer* observer) override {
    observer_ = observer;
    changed();
    sightHasChanged();
  }
  BrowserSight sight() const override { return currentSight; }
  std::vector<BrowserWindow> windows() const override {
    std::vector<BrowserWindow> result;
    for (const FakeWindow& each : fakeWindows) result.push_back(each.window);
    return result;
  }
  std::optional<Window> activeWindow() const override { return active; }

  void read(Window id, Completion<std::optional<BrowserWindowReading>> completion) override {
    answer([this, id, completion = std::move(completion)] {
      const FakeWindow* window = find(id);
      completion(window == nullptr || !currentSight.isTrusted ? std::nullopt : window->reading);
    });
  }

  void raise(std::vector<Window> ids, Completion<bool> completion) override {
    raised.push_back(ids);
    answer([this, ids = std::move(ids), completion = std::move(completion)] {
      FakeWindow* last = ids.empty() ? nullptr : find(ids.back());
      if (last == nullptr || refusesToRaise) return completion(false);
      last->window.isMinimized = false;
      active = ids.back();
      for (const Window id : ids) {
        const auto place = std::ranges::find(fakeWindows, id, [](const FakeWindow& each) { return each.window.id; });
        if (place != fakeWindows.end()) std::rotate(place, place + 1, fakeWindows.end());
      }
      changed();
      completion(true);
    });
  }

  void close(Window id) override {
    closed.push_back(id);
    FakeWindow* window = find(id);
    if (window == nullptr || window->ignoresClosing) return;
    if (window->asksBeforeClosing) {
      window->isPrompting = true;
      return;
    }
    std::erase_if(fakeWindows, [id](const FakeWindow& each) { return each.window.id == id; });
    scheduler_.post([this] { changed(); });
  }

  void promptingWindows(Completion<std::vector<Window>> completion) override {
    answer([this, completion = std::move(completion)] {
      std::vector<Window> result;
      for (const FakeWindow& each : fakeWindows) {
        if (each.isPrompting) result.push_back(each.window.id);
      }
      completion(std::move(result));
    });
  }

  void setWatchesTabGroups(bool watches) override { watchesGroups = watches; }

  void tabGroups(Window id, Completion<std::optional<std::vector<BrowserTabGroup>>> completion) override {
    answer([this, id, completion = std::move(completion)] {
      const FakeWindow* window = find(id);
      completion(window == nullptr ? std::nullopt : std::optional(window->groups));
    });
  }
  void openTabGroup(Window window, std::string name, Completion<bool> completion) override {
    groupCall("open", window, name, std::move(completion));
  }
  void closeTabGroup(Window window, std::string name, Completion<bool> completion) override {
    groupCall("close", window, name, std::move(completion));
  }
  void moveTabGroupToOwnWindow(Window window, std::string name, Completion<bool> completion) override {
    groupCall("move", window, name, std::move(completion));
  }

  /// What happens to a group when it is opened, closed or moved ("open", "close", "move"); told the window.
  std::function<void(const std::string& what, Window window, const std::string& name)> onGroupCall;

 private:
  void answer(Task task) {
    if (isStopped) {
      held_.push_back(std::move(task));
    } else {
      scheduler_.post(std::move(task));
    }
  }
  void groupCall(const char* what, Window id, const std::string& name, Completion<bool> completion) {
    groupCalls.push_back(std::string(what) + " " + name);
    answer([this, what, id, name, completion = std::move(completion)] {
      FakeWindow* window = find(id);
      const bool isKnown = window != nullptr && std::ranges::count(window->groups, name, &BrowserTabGroup::name) > 0;
      if (isKnown && onGroupCall) onGroupCall(what, id, name);
      completion(isKnown);
      if (isKnown) groupsHaveChanged();
    });
  }

  Scheduler& scheduler_;
  Observer* observer_ = nullptr;
  std::vector<Task> held_;
};

}  // namespace corvana::fakes
