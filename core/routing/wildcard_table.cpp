#include "core/routing/wildcard_table.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace corvana {
namespace {

/// Calls `visit` with every stretch of the pattern that has no star in it.
void visitLiterals(std::string_view pattern, auto visit) {
  while (true) {
    const std::size_t star = pattern.find('*');
    visit(pattern.substr(0, star));
    if (star == std::string_view::npos) return;
    pattern.remove_prefix(star + 1);
  }
}

std::size_t longestLiteral(std::string_view pattern) {
  std::size_t longest = 0;
  visitLiterals(pattern, [&longest](std::string_view literal) { longest = std::max(longest, literal.size()); });
  return longest;
}

}  // namespace

void WildcardTable::build() {
  nextWithSameGram_.assign(patterns_.size(), none);
  std::vector<std::uint32_t> forLong;
  std::vector<std::uint32_t> forMedium;
  std::vector<std::uint32_t> forShort;
  for (std::uint32_t number = 0; number < patterns_.size(); ++number) {
    const std::size_t longest = longestLiteral(patterns_[number]);
    (longest >= 8 ? forLong : longest >= 4 ? forMedium : longest >= 2 ? forShort : unfiltered_).push_back(number);
  }
  file(long_, forLong);
  file(medium_, forMedium);
  file(short_, forShort);
  patterns_ = {};
}

template <std::size_t size>
void WildcardTable::file(Grams<size>& grams, const std::vector<std::uint32_t>& numbers) {
  if (numbers.empty()) return;
  grams.slotBits = static_cast<int>(std::bit_width(numbers.size())) + 5;  // one slot in 16 to 32 is taken
  const std::size_t slots = std::size_t{1} << grams.slotBits;
  grams.filter.resize(slots / 64);

  const auto visitGrams = [this](std::uint32_t number, auto visit) {
    visitLiterals(patterns_[number], [&visit](std::string_view literal) {
      for (std::size_t i = 0; i + size <= literal.size(); ++i) visit(Grams<size>::at(literal.data() + i));
    });
  };
  std::vector<std::uint32_t> frequency(slots);
  for (const std::uint32_t number : numbers) {
    visitGrams(number, [&](std::uint64_t gram) { ++frequency[grams.slotOf(gram)]; });
  }
  // From the last to the first, so that each list is in the order of the patterns.
  for (auto next = numbers.rbegin(); next != numbers.rend(); ++next) {
    const std::uint32_t number = *next;
    std::uint64_t rarest = 0;
    std::uint32_t lowest = none;
    visitGrams(number, [&](std::uint64_t gram) {
      if (frequency[grams.slotOf(gram)] >= lowest) return;
      lowest = frequency[grams.slotOf(gram)];
      rarest = gram;
    });
    grams.filter[grams.slotOf(rarest) / 64] |= std::uint64_t{1} << (grams.slotOf(rarest) % 64);
    const auto [entry, isNew] = grams.firstOf.try_emplace(rarest, number);
    if (!isNew) nextWithSameGram_[number] = std::exchange(entry->second, number);
  }
}

}  // namespace corvana
