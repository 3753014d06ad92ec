#include "platform/windows/window_pairing.h"

#include <algorithm>

namespace corvana {
namespace {

bool canBePair(const WindowPairing::Look& frame, const WindowPairing::Look& window) {
  return frame.extents == window.extents && WindowPairing::isShownAs(window.text, frame.text);
}

}  // namespace

bool WindowPairing::isShownAs(std::string_view title, std::string_view name) {
  if (name.starts_with(title)) return true;
  const auto [titleRest, nameRest] = std::ranges::mismatch(title, name);
  if (titleRest == title.begin()) return false;
  const std::string_view rest(titleRest, title.end());
  return std::string_view(nameRest, name.end()).find(rest) != std::string_view::npos;
}

std::vector<std::optional<std::size_t>> WindowPairing::pair(const std::vector<Look>& frames,
                                                            const std::vector<Look>& windows) {
  std::vector<std::optional<std::size_t>> result(frames.size());
  if (std::ranges::equal(frames, windows, canBePair)) {
    for (std::size_t i = 0; i < frames.size(); ++i) result[i] = i;
    return result;
  }
  // One list is behind the other, or the page of a window has just changed.
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto suits = [&](const Look& window) { return canBePair(frames[i], window); };
    const auto window = std::ranges::find_if(windows, suits);
    if (window == windows.end() || std::ranges::count_if(windows, suits) != 1) continue;
    if (std::ranges::count_if(frames, [&](const Look& frame) { return canBePair(frame, *window); }) != 1) continue;
    result[i] = static_cast<std::size_t>(window - windows.begin());
  }
  return result;
}

}  // namespace corvana
