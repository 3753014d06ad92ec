#include "core/routing/wildcard_table.h"

#include <algorithm>
#include <bit>
#include <ranges>
#include <tuple>
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
  std::array<std::vector<std::uint32_t>, std::tuple_size_v<decltype(grams_)>> numbersFor;
  for (std::uint32_t number = 0; number < patterns_.size(); ++number) {
    const std::size_t longest = longestLiteral(patterns_[number]);
    const auto fitting = std::ranges::find_if(grams_, [longest](const Grams& grams) { return grams.size <= longest; });
    if (fitting == grams_.end()) {
      unfiltered_.push_back(number);
    } else {
      numbersFor[static_cast<std::size_t>(fitting - grams_.begin())].push_back(number);
    }
  }
  for (std::size_t i = 0; i < grams_.size(); ++i) file(grams_[i], numbersFor[i]);
  patterns_ = {};
}

void WildcardTable::file(Grams& grams, const std::vector<std::uint32_t>& numbers) {
  if (numbers.empty()) return;
  grams.slotBits = static_cast<int>(std::bit_width(numbers.size())) + 4;
  const std::size_t slots = std::size_t{1} << grams.slotBits;
  grams.filter.resize(std::max(slots / 64, std::size_t{1}));

  const auto visitGrams = [this, &grams](std::uint32_t number, auto visit) {
    visitLiterals(patterns_[number], [&grams, &visit](std::string_view literal) {
      for (std::size_t i = 0; i + grams.size <= literal.size(); ++i) visit(gramAt(literal, i, grams.size));
    });
  };
  std::vector<std::uint32_t> frequency(slots);
  for (const std::uint32_t number : numbers) {
    visitGrams(number, [&](std::uint64_t gram) { ++frequency[grams.slotOf(gram)]; });
  }
  // From the last to the first, so that each list is in the order of the patterns.
  for (const std::uint32_t number : numbers | std::views::reverse) {
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
