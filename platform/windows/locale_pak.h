#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace corvana {

/// The texts that Chromium shows in one language: its "data pack", version 5 (Chromium's
/// tools/grit/grit/format/data_pack.py). A text has the same number in every language of one release. Pure.
class LocalePak {
 public:
  /// Nothing when the bytes are no such file. The texts lie in `bytes`, which must outlive this object.
  static std::optional<LocalePak> read(std::string_view bytes);

  std::optional<std::string_view> text(std::uint16_t number) const;

  /// The first number from `from` on that has this text.
  std::optional<std::uint16_t> numberOf(std::string_view text, std::uint16_t from = 0) const;

 private:
  std::map<std::uint16_t, std::string_view> texts_;
};

}  // namespace corvana
