#include "core/routing/white_space.h"

#include <array>
#include <cstddef>

namespace corvana {
namespace {

/// What nearly always is there comes first.
constexpr std::array<std::string_view, 18> spaces{" ",      "\t",     "\u00A0", "\u1680", "\u2000", "\u2001",
                                                  "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
                                                  "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};

constexpr std::array<std::string_view, 7> lineBreaks{"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

/// The size of the one of `choices` that the text begins with; 0 for none.
std::size_t sizeAtStart(std::string_view text, const auto& choices) {
  for (const std::string_view choice : choices) {
    if (text.starts_with(choice)) return choice.size();
  }
  return 0;
}

std::size_t sizeAtEnd(std::string_view text, const auto& choices) {
  for (const std::string_view choice : choices) {
    if (text.ends_with(choice)) return choice.size();
  }
  return 0;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (const std::size_t size = sizeAtStart(text, spaces)) text.remove_prefix(size);
  while (const std::size_t size = sizeAtEnd(text, spaces)) text.remove_suffix(size);
  return text;
}

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> result;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t size = sizeAtStart(text.substr(i), lineBreaks);
    if (size > 0) {
      result.push_back(text.substr(begin, i - begin));
      begin = i + size;
    }
    i += size > 0 ? size : 1;
  }
  result.push_back(text.substr(begin));
  return result;
}

}  // namespace corvana
