#include "core/stub/stub_revision.h"

#include <array>

namespace corvana {
namespace {

struct Improvement {
  std::int64_t revision;
  std::string_view text;
};

constexpr std::array<Improvement, 6> table{{
    {2,
     "Reaches the background helper again after the rename, so windows are tracked properly instead of falling back to "
     "counting every Chrome window."},
    {3,
     "Tab-group apps: the Dock indicator follows the group, and quitting closes just that group rather than the whole "
     "profile."},
    {4, "Links open in the tab group's window, and window tracking survives a slow or restarting Chrome."},
    {5, "Chrome no longer complains that it isn't your default browser every time this app opens it."},
    {6,
     "No longer quits while Chrome is still open. macOS 26 hides other applications' windows from an app without "
     "Screen "
     "Recording, so this app's own count read zero whenever it lost contact with the helper — and it acted on that."},
    {7,
     "Reaches the background helper again after the rename to Corvana. Until it is rebuilt it still opens Chrome, but "
     "tracks its windows only roughly."},
}};

}  // namespace

std::optional<std::int64_t> StubRevision::revision(const PropertyDictionary& plist) {
  const auto* value = find<std::int64_t>(plist, plistKey);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

bool StubRevision::isOutdated(std::optional<std::int64_t> revision) {
  return !revision || *revision < current;
}

std::vector<std::string> StubRevision::improvements(std::optional<std::int64_t> since) {
  std::vector<std::string> texts;
  for (const Improvement& improvement : table) {
    if (since && improvement.revision > *since) texts.emplace_back(improvement.text);
  }
  return texts;
}

std::string StubRevision::advice(std::optional<std::int64_t> since) {
  std::string advice;
  for (const std::string& text : improvements(since)) advice.append(advice.empty() ? "" : " ").append(text);
  return advice.empty() ? std::string(genericAdvice) : advice;
}

}  // namespace corvana
