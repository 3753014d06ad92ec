#include "helper/window_dressing.h"

#include <gtest/gtest.h>

#include "tests/helper/helper_world.h"

namespace corvana {
namespace {

/// What windows are shown as; empty for Chrome's.
class FakeWindowIdentities final : public WindowIdentities {
 public:
  std::map<BrowserWindows::Window, std::string> shown;
  int calls = 0;

  void set(BrowserWindows::Window window, std::string_view bundleIdentifier) override {
    ++calls;
    shown[window] = bundleIdentifier;
  }
  void restore(BrowserWindows::Window window) override {
    ++calls;
    shown[window] = "";
  }
};

using WindowDressingTest = HelperWorld;

TEST_F(WindowDressingTest, WindowsBearTheirAppForAsLongAsThereIsOne) {
  using Shown = std::map<BrowserWindows::Window, std::string>;
  FakeWindowIdentities identities;
  std::map<std::string, std::string> apps{{"Default", "app.corvana.work"}};
  WindowDressing dressing(identities, [&apps](const std::string& profile) -> std::optional<std::string> {
    const auto found = apps.find(profile);
    return found == apps.end() ? std::nullopt : std::optional(found->second);
  });
  identities.shown[2] = "app.corvana.left-by-one-that-was-killed";
  open(1, "Work");
  open(2, "Home");
  auto& early = open(3, "Work");
  early.reading.reset();
  early.window.launchMark = "corvana:app.corvana.Default:1-1_TIME5";
  chrome.changed();
  dressing.update(watch.book());
  EXPECT_EQ(identities.shown[3], "app.corvana.work") << "before it says itself whose it is";
  scheduler.runPosted();
  dressing.update(watch.book());
  EXPECT_EQ(identities.shown, (Shown{{1, "app.corvana.work"}, {2, ""}, {3, "app.corvana.work"}}));
  const int calls = identities.calls;
  dressing.update(watch.book());
  EXPECT_EQ(identities.calls, calls) << "nothing has changed";

  apps = {{"Default", "app.corvana.other"}, {"Profile 1", "app.corvana.home"}};
  dressing.update(watch.book());
  EXPECT_EQ(identities.shown, (Shown{{1, "app.corvana.other"}, {2, "app.corvana.home"}, {3, "app.corvana.other"}}));
  apps.erase("Default");
  dressing.update(watch.book());
  EXPECT_EQ(identities.shown, (Shown{{1, ""}, {2, "app.corvana.home"}, {3, ""}}));
  dressing.restoreAll();
  EXPECT_EQ(identities.shown, (Shown{{1, ""}, {2, ""}, {3, ""}}));
}

}  // namespace
}  // namespace corvana
