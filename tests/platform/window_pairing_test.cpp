#include "platform/windows/window_pairing.h"

#include <gmock/gmock.h>

namespace corvana {
namespace {

using Look = WindowPairing::Look;
using testing::ElementsAreArray;
using Pairs = std::vector<std::optional<std::size_t>>;

constexpr WindowPairing::Extents left{.x = 0, .y = 0, .width = 600, .height = 700};
constexpr WindowPairing::Extents right{.x = 600, .y = 0, .width = 600, .height = 700};
constexpr std::nullopt_t none = std::nullopt;

TEST(WindowPairingTest, NamesAddTheProfileAndMarksToTitles) {
  struct Case {
    const char* title;
    const char* name;
    bool isShown;
  };
  const Case cases[] = {
      {"Page - Chromium", "Page - Chromium - Work", true},
      {"Page - Chromium", "Page - Chromium", true},
      {"Page - Chromium", "Page - Chromium (Incognito)", true},
      {"Page", "Page - Work", true},
      {"Page - Chromium", "Page - Part of group Research - Chromium - Work", true},
      {"Page - Chromium", "Page - Audio playing - Chromium - ☕ Café – Work", true},
      {"Page 7 - Chromium", "Page 8 - Chromium - Work", false},
      {"Page - Chromium", "Other page - Chromium - Work", false},
      {"Page - Chromium", "Page - Part of group Research - Work", false},
      {"Page - Chromium", "", false},
      {"", "Anything", true},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(WindowPairing::isShownAs(each.title, each.name), each.isShown) << each.title << " | " << each.name;
  }
}

TEST(WindowPairingTest, PairsOnlyWhatIsCertain) {
  const auto frame = [](const std::string& page, WindowPairing::Extents extents) {
    return Look{page + " - Chromium - Work", extents};
  };
  const auto window = [](const std::string& page, WindowPairing::Extents extents) {
    return Look{page + " - Chromium", extents};
  };
  struct Case {
    const char* what;
    std::vector<Look> frames;
    std::vector<Look> windows;
    Pairs pairs;
  };
  const Case cases[] = {
      {"nothing", {}, {}, {}},
      {"equal windows, by their order",
       {frame("A", left), frame("A", left)},
       {window("A", left), window("A", left)},
       {0, 1}},
      {"one page has just changed",
       {frame("A", left), frame("B", left)},
       {window("A", left), window("C", left)},
       {0, none}},
      {"one has just moved",
       {frame("A", left), frame("A", right)},
       {window("A", left), window("A", left)},
       {none, none}},
      {"another order than that of opening",
       {frame("A", left), frame("B", left)},
       {window("B", left), window("A", left)},
       {1, 0}},
      {"the display is behind", {frame("A", left), frame("B", left)}, {window("B", left)}, {none, 0}},
      {"the display is behind, and they are equal",
       {frame("A", left), frame("A", left)},
       {window("A", left)},
       {none, none}},
      {"the bus is behind", {frame("B", left)}, {window("A", left), window("B", left)}, {1}},
      {"the bus is behind, and they are equal", {frame("A", left)}, {window("A", left), window("A", left)}, {none}},
      {"told apart by their places", {frame("A", right)}, {window("A", left), window("A", right)}, {1}},
      {"only windows", {}, {window("A", left)}, {}},
      {"only frames", {frame("A", left)}, {}, {none}},
  };
  for (const Case& each : cases) {
    EXPECT_THAT(WindowPairing::pair(each.frames, each.windows), ElementsAreArray(each.pairs)) << each.what;
  }
}

}  // namespace
}  // namespace corvana
