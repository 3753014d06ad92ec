#include "platform/windows/locale_pak.h"

#include <vector>

namespace corvana {
namespace {

constexpr std::uint32_t version = 5;
constexpr std::uint8_t utf8 = 1;
constexpr std::size_t headerSize = 12;
constexpr std::size_t entrySize = 6;  // a number of two bytes, where its text begins in four
constexpr std::size_t aliasSize = 4;  // a number, and the place of the entry that has the same text

/// Little-endian; the caller sees to it that the bytes are there.
std::uint32_t numberAt(std::string_view bytes, std::size_t place, std::size_t size) {
  std::uint32_t result = 0;
  for (std::size_t i = size; i > 0; --i) result = result << 8 | static_cast<unsigned char>(bytes[place + i - 1]);
  return result;
}

}  // namespace

std::optional<LocalePak> LocalePak::read(std::string_view bytes) {
  if (bytes.size() < headerSize || numberAt(bytes, 0, 4) != version || numberAt(bytes, 4, 1) != utf8) {
    return std::nullopt;
  }
  const std::size_t count = numberAt(bytes, 8, 2);
  const std::size_t aliases = numberAt(bytes, 10, 2);
  const std::size_t aliasPlace = headerSize + (count + 1) * entrySize;  // the last entry only ends the text before it
  if (bytes.size() < aliasPlace + aliases * aliasSize) return std::nullopt;

  LocalePak result;
  std::vector<std::string_view> texts;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = headerSize + i * entrySize;
    const std::size_t begin = numberAt(bytes, entry + 2, 4);
    const std::size_t end = numberAt(bytes, entry + entrySize + 2, 4);
    if (begin > end || end > bytes.size()) return std::nullopt;
    texts.push_back(bytes.substr(begin, end - begin));
    result.texts_[static_cast<std::uint16_t>(numberAt(bytes, entry, 2))] = texts.back();
  }
  for (std::size_t i = 0; i < aliases; ++i) {
    const std::size_t alias = aliasPlace + i * aliasSize;
    const std::size_t place = numberAt(bytes, alias + 2, 2);
    if (place >= texts.size()) return std::nullopt;
    result.texts_[static_cast<std::uint16_t>(numberAt(bytes, alias, 2))] = texts[place];
  }
  return result;
}

std::optional<std::string_view> LocalePak::text(std::uint16_t number) const {
  const auto found = texts_.find(number);
  return found == texts_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint16_t> LocalePak::numberOf(std::string_view text, std::uint16_t from) const {
  for (auto each = texts_.lower_bound(from); each != texts_.end(); ++each) {
    if (each->second == text) return each->first;
  }
  return std::nullopt;
}

}  // namespace corvana
