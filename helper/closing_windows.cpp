#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "helper/chrome_operations.h"

namespace corvana {
namespace {

/// How soon it is asked whether Chrome asks its user about a page, at first and at most.
constexpr std::chrono::milliseconds firstPause{30};
constexpr std::chrono::milliseconds longestPause{250};

class ClosingWindows final : public ChromeOperation {
 public:
  ClosingWindows(const OperationContext& context, WindowAudience audience, std::chrono::nanoseconds limit)
      : ChromeOperation(context, limit), audience_(std::move(audience)) {}

  /// Windows that have gone need no asking.
  void bookChanged() override {
    if (hasStarted_) look();
  }

 private:
  using Window = BrowserWindows::Window;

  void start() override {
    if (!audience_.tabGroup) return close(book().windows(audience_));
    context_.watch.readTabGroups(audience_.profileDirectory, lifetime_.guard([this] { closeGroup(); }));
  }

  void closeGroup() {
    std::vector<Window> windows;
    for (const Window window : book().windows(audience_)) {
      const auto& groups = *book().tabGroups(window);
      const auto group = std::ranges::find(groups, *audience_.tabGroup, &BrowserTabGroup::name);
      if (group->isAlone) {
        windows.push_back(window);
        continue;
      }
      ++groupsLeft_;
      context_.windows.closeTabGroup(window, *audience_.tabGroup, lifetime_.guard([this](bool isClosed) {
        --groupsLeft_;
        (isClosed ? closedGroups_ : remainingGroups_) += 1;
        look();
      }));
    }
    close(std::move(windows));
  }

  void close(std::vector<Window> windows) {
    hasStarted_ = true;
    windows_ = std::move(windows);
    for (const Window window : windows_) context_.windows.close(window);
    look();
  }

  void look() {
    if (remaining().empty() && groupsLeft_ == 0) return finish(response(false));
    if (isAsking_ || remaining().empty()) return;
    isAsking_ = true;
    nextLook_ = {};
    context_.windows.promptingWindows(lifetime_.guard([this](const std::vector<Window>& prompting) {
      isAsking_ = false;
      for (const Window window : remaining()) {
        if (std::ranges::count(prompting, window) > 0) return showPrompt(window);
      }
      if (remaining().empty()) return look();
      nextLook_ = context_.mainQueue.after(pause_, [this] { look(); });
      pause_ = std::min(pause_ * 2, longestPause);
    }));
  }

  /// The user has to see what is asked.
  void showPrompt(Window window) {
    isAsking_ = true;  // for nothing more
    context_.windows.raise({window}, lifetime_.guard([this](bool) { finish(response(true)); }));
  }

  std::vector<Window> remaining() const {
    std::vector<Window> result;
    std::ranges::copy_if(windows_, std::back_inserter(result), [this](Window window) { return book().has(window); });
    return result;
  }

  Response response(bool isBlocked) const {
    const auto left = static_cast<std::int64_t>(remaining().size());
    return {.ok = true,
            .chromePID = book().sight().process,
            .closed = static_cast<std::int64_t>(windows_.size()) - left + closedGroups_,
            .remaining = left + remainingGroups_ + groupsLeft_,
            .blocked = isBlocked};
  }

  Response responseAtLimit() override { return response(false); }

  WindowAudience audience_;
  std::vector<Window> windows_;
  bool hasStarted_ = false;
  bool isAsking_ = false;
  std::int64_t groupsLeft_ = 0;
  std::int64_t closedGroups_ = 0;
  std::int64_t remainingGroups_ = 0;
  Timer nextLook_;
  std::chrono::milliseconds pause_ = firstPause;
};

}  // namespace

std::unique_ptr<ChromeOperation> closingWindows(const OperationContext& context, const WindowAudience& audience,
                                                std::chrono::nanoseconds limit) {
  return std::make_unique<ClosingWindows>(context, audience, limit);
}

}  // namespace corvana
