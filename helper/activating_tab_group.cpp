#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "helper/chrome_operations.h"

namespace corvana {
namespace {

/// Below the time that a proxy app waits for an answer.
constexpr std::chrono::seconds activationLimit{11};
/// How soon it is looked whether a group has come, where nothing tells.
constexpr std::chrono::milliseconds lookPeriod{200};

class ActivatingTabGroup final : public ChromeOperation {
 public:
  ActivatingTabGroup(const OperationContext& context, WindowAudience audience, bool ownWindow)
      : ChromeOperation(context, activationLimit), audience_(std::move(audience)), ownWindow_(ownWindow) {}

 private:
  using Window = BrowserWindows::Window;
  using Action = Response::Action;

  /// The group as one window shows or offers it.
  struct Found {
    Window window;
    BrowserTabGroup group;
  };

  void start() override {
    if (tabbedWindows().empty()) return finish({.ok = true, .action = Action::nothingToRaise});
    readGroups([this] { decide(); });
  }

  void decide() {
    if (const auto shown = find(&BrowserTabGroup::isHere)) return select(*shown, Action::raised);
    if (const auto offered = find(&BrowserTabGroup::isSaved)) {
      // Where another window has it open, Chrome brings that forward itself.
      if (offered->group.isOpen) return select(*offered, Action::raised);
      return context_.windows.openTabGroup(offered->window, *audience_.tabGroup,
                                           lifetime_.guard([this](bool isAccepted) {
                                             if (!isAccepted)
                                               return finish(failure("Chrome did not open the tab group"));
                                             awaitGroup();
                                           }));
    }
    const bool isReadable =
        std::ranges::any_of(tabbedWindows(), [this](Window window) { return book().tabGroups(window) != nullptr; });
    if (!isReadable && !tabbedWindows().empty()) return finish(failure("Chrome's tab groups cannot be read"));
    // Chrome loads its groups some time after the first window.
    const bool isEarly = tabbedWindows().empty() || context_.watch.isProfileYoung(audience_.profileDirectory);
    finish({.ok = true, .action = isEarly ? Action::nothingToRaise : Action::groupNotFound});
  }

  /// The group's tab comes to the front of its window, then the window.
  void select(const Found& found, Action action) {
    if (!found.group.isSaved) return raise(found.window, action);
    context_.windows.openTabGroup(found.window, *audience_.tabGroup, lifetime_.guard([this, found, action](bool) {
      const auto shown = find(&BrowserTabGroup::isHere);
      raise(shown ? shown->window : found.window, action);
    }));
  }

  void awaitGroup() {
    next_ = context_.mainQueue.after(lookPeriod, [this] {
      readGroups([this] {
        const auto shown = find(&BrowserTabGroup::isHere);
        if (!shown) return awaitGroup();
        if (!ownWindow_ || shown->group.isAlone) return raise(shown->window, Action::openedGroup);
        if (hasMoved_) return awaitGroup();
        hasMoved_ = true;
        context_.windows.moveTabGroupToOwnWindow(shown->window, *audience_.tabGroup,
                                                 lifetime_.guard([this, window = shown->window](bool isAccepted) {
                                                   // Open it is; a window of its own is what it just does not have.
                                                   if (!isAccepted) return raise(window, Action::openedGroup);
                                                   awaitGroup();
                                                 }));
      });
    });
  }

  void raise(Window window, Action action) {
    context_.windows.raise({window}, lifetime_.guard([this, action](bool isActive) {
      if (!isActive) return finish(failure("the tab group's window could not be brought forward"));
      const WindowCount count = context_.watch.count(audience_);
      finish({.ok = true,
              .action = action,
              .chromePID = book().sight().process,
              .windowCount = count.count,
              .confidence = count.confidence});
    }));
  }

  Response responseAtLimit() override { return failure("the tab group did not come forward in time"); }

  std::vector<Window> tabbedWindows() const { return book().tabbedWindows(audience_.profileDirectory); }

  void readGroups(std::function<void()> done) {
    context_.watch.readTabGroups(audience_.profileDirectory, lifetime_.guard(std::move(done)));
  }

  /// The topmost window in which the group has that quality.
  std::optional<Found> find(bool BrowserTabGroup::*quality) const {
    std::optional<Found> found;
    for (const Window window : tabbedWindows()) {
      const auto* groups = book().tabGroups(window);
      if (groups == nullptr) continue;
      for (const BrowserTabGroup& group : *groups) {
        if (group.name == audience_.tabGroup && group.*quality) found = Found{window, group};
      }
    }
    return found;
  }

  WindowAudience audience_;
  bool ownWindow_;
  bool hasMoved_ = false;
  Timer next_;
};

}  // namespace

std::unique_ptr<ChromeOperation> activatingTabGroup(const OperationContext& context, const WindowAudience& audience,
                                                    bool ownWindow) {
  return std::make_unique<ActivatingTabGroup>(context, audience, ownWindow);
}

}  // namespace corvana
