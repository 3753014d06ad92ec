#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
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

  /// Calls `visit` with the number of every pattern that `text` could match, and of some others; maybe twice.
  void visitCandidates(std::string_view text, auto visit) const {
    for (const std::uint32_t number : unfiltered_) visit(number);
    for (const Grams& grams : grams_) {
      if (grams.firstOf.empty() || text.size() < grams.size) continue;
      for (std::size_t i = 0; i + grams.size <= text.size(); ++i) {
        const std::uint64_t gram = gramAt(text, i, grams.size);
        const std::size_t slot = grams.slotOf(gram);
        if ((grams.filter[slot / 64] >> (slot % 64) & 1) == 0) continue;
        const auto found = grams.firstOf.find(gram);
        if (found == grams.firstOf.end()) continue;
        for (std::uint32_t number = found->second; number != none; number = nextWithSameGram_[number]) visit(number);
      }
    }
  }

 private:
  /// The pieces of one size. They fit into an integer, as which they are compared.
  struct Grams {
    std::size_t size;
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

  static std::uint64_t gramAt(std::string_view text, std::size_t position, std::size_t size) {
    std::uint64_t gram = 0;
    text.copy(reinterpret_cast<char*>(&gram), size, position);
    return gram;
  }

  /// Files these patterns, by number, under their rarest pieces.
  void file(Grams& grams, const std::vector<std::uint32_t>& numbers);

  std::vector<std::string_view> patterns_;
  std::vector<std::uint32_t> nextWithSameGram_;
  std::vector<std::uint32_t> unfiltered_;
  std::array<Grams, 3> grams_{Grams{.size = 8}, Grams{.size = 4}, Grams{.size = 2}};
};

}  // namespace corvana
