#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// Which of the frames that a browser shows to assistive technology is which of its windows on the display: nothing
/// says so, and a wrong pair would give a window to another profile. Pure.
struct WindowPairing {
  /// On the display, in its units.
  struct Extents {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const Extents&) const = default;
  };

  /// A frame with its name, or a window with its title.
  struct Look {
    std::string text;
    Extents extents;
    bool operator==(const Look&) const = default;
  };

  /// Whether a window with this title can have a frame of this name: the name adds the profile at the end, and marks of
  /// the page's state (its tab group, its sound) somewhere within.
  static bool isShownAs(std::string_view title, std::string_view name);

  /// For each frame the place of its window, nothing where that is not certain. Both lists are in the order in which
  /// they were opened, and hold what has not been paired yet. Where they do not fit as a whole one of them is behind,
  /// so that only what is unlike everything else can be paired.
  static std::vector<std::optional<std::size_t>> pair(const std::vector<Look>& frames,
                                                      const std::vector<Look>& windows);
};

}  // namespace corvana
