#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace corvana {

/// Finds, among many patterns with wildcards, the few that a text could match: those of which a piece of literal text
/// occurs in it. Each pattern is filed under one such piece, the one that the fewest others have.
class WildcardTable {
 public:
  /// Adds the next pattern; its number is how many there were before. The text must outlive `build`.
  void add(std::string_view pattern) { patterns_.push_back(pattern); }

  /// To be called once, after all patterns were added.
  void build();

  /// Calls `visit` once with the number of every pattern that `text` could match, and of some others.
  void visitCandidates(std::string_view text, auto visit) const {
    for (const std::uint32_t number : unfiltered_) visit(number);
    visitCandidates(long_, text, visit);
    visitCandidates(medium_, text, visit);
    visitCandidates(short_, text, visit);
  }

 private:
  /// The pieces of one size. They fit into an integer, as which they are compared.
  template <std::size_t size>
  struct Grams {
    static std::uint64_t at(const char* text) {
      std::uint64_t gram = 0;
      std::memcpy(&gram, text, size);
      return gram;
    }

    /// The first of the patterns that are filed under a piece.
    std::unordered_map<std::uint64_t, std::uint32_t> firstOf;
    /// One bit for each slot that a piece is in, so that most positions of a text cost no lookup.
    std::vector<std::uint64_t> filter;
    int slotBits = 0;

    std::size_t slotOf(std::uint64_t gram) const {
      // Multiplicative hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4).
      return static_cast<std::size_t>(gram * 0x9E37'79B9'7F4A'7C15 >> (64 - slotBits));
    }
  };

  static constexpr std::uint32_t none = 0xFFFF'FFFF;

  template <std::size_t size>
  void visitCandidates(const Grams<size>& grams, std::string_view text, auto& visit) const {
    if (grams.firstOf.empty()) return;
    std::vector<std::uint32_t> found;  // a piece may be in the text many times
    for (std::size_t i = 0; i + size <= text.size(); ++i) {
      const std::uint64_t gram = Grams<size>::at(text.data() + i);
      const std::size_t slot = grams.slotOf(gram);
      if ((grams.filter[slot / 64] >> (slot % 64) & 1) == 0) continue;
      if (const auto first = grams.firstOf.find(gram); first != grams.firstOf.end()) found.push_back(first->second);
    }
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    for (std::uint32_t number : found) {
      for (; number != none; number = nextWithSameGram_[number]) visit(number);
    }
  }

  /// Files these patterns, by number, under their rarest pieces.
  template <std::size_t size>
  void file(Grams<size>& grams, const std::vector<std::uint32_t>& numbers);

  std::vector<std::string_view> patterns_;
  std::vector<std::uint32_t> nextWithSameGram_;
  /// Those without a piece of even the smallest size.
  std::vector<std::uint32_t> unfiltered_;
  Grams<8> long_;
  Grams<4> medium_;
  Grams<2> short_;
};

}  // namespace corvana
