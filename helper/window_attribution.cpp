#include "helper/window_attribution.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace corvana {
namespace {

using Outcome = WindowAttribution::Outcome;

/// What Chrome puts between a window's title and the profile: in most languages the first, in French the second, in
/// German the third.
constexpr std::array<std::string_view, 3> separators = {" - ", " – ", " — "};

/// Chrome's names, behind which the profile stands on systems that show one name only.
constexpr std::array<std::string_view, 2> products = {"Google Chrome", "Chromium"};

/// The one profile that shows itself by this text.
std::optional<std::string> profileShownAs(std::string_view text, std::span<const ChromeProfile> profiles) {
  std::optional<std::string> found;
  for (const ChromeProfile& profile : profiles) {
    if (std::ranges::count(profile.titleIdentities(), text) == 0) continue;
    if (found) return std::nullopt;
    found = profile.directory;
  }
  return found;
}

/// What follows the title in the window's name, for each way to read it. There is one way, unless Chrome has put a mark
/// of the tab's state into the middle of the title.
std::vector<std::string_view> restsOf(std::string_view name, std::string_view title) {
  if (name.starts_with(title)) return {name.substr(title.size())};
  const auto [different, unused] = std::ranges::mismatch(title, name);
  const std::string_view end = title.substr(static_cast<std::size_t>(different - title.begin()));
  std::string_view tail = name.substr(title.size() - end.size());
  std::vector<std::string_view> rests;
  for (std::size_t place = tail.find(end); place != std::string_view::npos; place = tail.find(end)) {
    rests.push_back(tail.substr(place + end.size()));
    tail.remove_prefix(place + 1);
  }
  return rests;
}

/// By the button that shows the profile; without a usable one, a window that names no profile is the only one's.
WindowAttribution byButton(const BrowserWindowReading& reading, std::span<const ChromeProfile> profiles) {
  if (reading.profileButton) {
    if (const auto profile = profileShownAs(*reading.profileButton, profiles)) return {Outcome::profile, *profile};
  }
  return profiles.size() == 1 ? WindowAttribution{Outcome::profile, profiles.front().directory} : WindowAttribution();
}

WindowAttribution attributionFromRest(std::string_view rest, const BrowserWindowReading& reading,
                                      std::span<const ChromeProfile> profiles) {
  if (rest.empty()) return byButton(reading, profiles);
  for (const std::string_view separator : separators) {
    if (!rest.starts_with(separator)) continue;
    // A name that is unknown is a profile of which Chrome's list does not know yet, never the only one there is.
    const auto profile = profileShownAs(rest.substr(separator.size()), profiles);
    return profile ? WindowAttribution{Outcome::profile, *profile} : WindowAttribution();
  }
  return {Outcome::privateWindow, {}};
}

}  // namespace

WindowAttribution WindowAttribution::from(const BrowserWindowReading& reading,
                                          std::span<const ChromeProfile> profiles) {
  std::string_view title = reading.name;
  if (reading.title) {
    title = *reading.title;
  } else {
    for (const std::string_view product : products) {
      const std::size_t place = title.rfind(product);
      if (place == std::string_view::npos) continue;
      title = title.substr(0, place + product.size());
      break;
    }
  }
  std::optional<WindowAttribution> result;
  for (const std::string_view rest : restsOf(reading.name, title)) {
    WindowAttribution attribution = attributionFromRest(rest, reading, profiles);
    if (result && *result != attribution) return {};
    result = std::move(attribution);
  }
  return result.value_or(WindowAttribution());
}

}  // namespace corvana
