#include <algorithm>
#include <utility>
#include <vector>

#include "helper/chrome_operations.h"

namespace corvana {
namespace {

/// Below the time that a proxy app waits for an answer.
constexpr std::chrono::milliseconds raisingLimit{4500};

class RaisingWindows final : public ChromeOperation {
 public:
  RaisingWindows(const OperationContext& context, WindowAudience audience)
      : ChromeOperation(context, raisingLimit), audience_(std::move(audience)) {}

 private:
  void start() override {
    std::vector<BrowserWindows::Window> windows = book().windows(audience_);
    if (windows.empty()) return finish({.ok = true, .action = Response::Action::nothingToRaise});
    const BrowserWindows::Window last = windows.back();
    std::erase_if(windows, [this](BrowserWindows::Window window) { return book().isMinimized(window); });
    if (windows.empty()) windows.push_back(last);
    const BrowserWindows::Window front = windows.back();
    context_.windows.raise(std::move(windows), lifetime_.guard([this, front](bool isActive) {
      if (isActive) return finish(raised());
      if (!book().has(front)) return start();  // its user has closed it meanwhile
      finish(failure("the windows could not be brought forward"));
    }));
  }

  Response raised() const {
    const WindowCount count = context_.watch.count(audience_);
    return {.ok = true,
            .action = Response::Action::raised,
            .chromePID = book().sight().process,
            .windowCount = count.count,
            .confidence = count.confidence};
  }

  Response responseAtLimit() override { return failure("the windows did not come forward in time"); }

  WindowAudience audience_;
};

}  // namespace

std::unique_ptr<ChromeOperation> raisingWindows(const OperationContext& context, const WindowAudience& audience) {
  return std::make_unique<RaisingWindows>(context, audience);
}

}  // namespace corvana
