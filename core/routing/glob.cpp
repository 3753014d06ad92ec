#include "core/routing/glob.h"

#include <optional>
#include <string>
#include <vector>

#include "platform/text/ascii.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

/// Keeps one point to go back to: a later star can swallow whatever an earlier one could have.
bool matchesSequence(const auto& pattern, const auto& text, auto isStar) {
  std::size_t patternAt = 0;
  std::size_t textAt = 0;
  std::optional<std::size_t> afterStar;
  std::size_t starEnd = 0;  // where in the text the run that the star stands for ends
  while (textAt < text.size()) {
    if (patternAt < pattern.size() && isStar(pattern[patternAt])) {
      afterStar = ++patternAt;
      starEnd = textAt;
    } else if (patternAt < pattern.size() && pattern[patternAt] == text[textAt]) {
      ++patternAt;
      ++textAt;
    } else if (afterStar) {
      patternAt = *afterStar;
      textAt = ++starEnd;
    } else {
      return false;
    }
  }
  while (patternAt < pattern.size() && isStar(pattern[patternAt])) ++patternAt;
  return patternAt == pattern.size();
}

}  // namespace

bool Glob::matches(std::string_view pattern, std::string_view text) {
  const std::string foldedPattern = text::folded(std::string(pattern));
  const std::string foldedText = text::folded(std::string(text));
  const bool matchesAsBytes = matchesBytes(foldedPattern, foldedText);
  if (!matchesAsBytes || isPlain(foldedText)) return matchesAsBytes;
  return matchesCharacters(foldedPattern, charactersOf(foldedText));
}

bool Glob::matchesCharacters(std::string_view foldedPattern, const std::vector<std::string>& characters) {
  return matchesSequence(charactersOf(foldedPattern), characters,
                         [](const std::string& character) { return character == "*"; });
}

std::vector<std::string> Glob::charactersOf(std::string_view folded) {
  std::vector<std::string> result;
  for (text::Character& character : text::characters(folded)) result.push_back(std::move(character.utf8));
  return result;
}

bool Glob::isPlain(std::string_view text) {
  return ascii::isASCII(text) && text.find('\r') == std::string_view::npos;
}

bool Glob::matchesBytes(std::string_view foldedPattern, std::string_view foldedText) {
  return matchesSequence(foldedPattern, foldedText, [](char c) { return c == '*'; });
}

}  // namespace corvana
