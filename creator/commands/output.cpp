#include "creator/commands/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "core/identity/json_coding.h"
#include "platform/text/text.h"
#include "platform/text/utf8_repair.h"

namespace corvana::commands {
namespace {

/// What must not reach a terminal as it is, by its place in Unicode.
bool isHarmful(char32_t c) {
  const auto isIn = [c](char32_t first, char32_t last) { return c >= first && c <= last; };
  return c < 0x20 || isIn(0x7F, 0x9F)           // control characters
         || c == 0x61C || isIn(0x200E, 0x200F)  // marks of direction
         || isIn(0x2028, 0x202E)                // line separators, embeddings and overrides of direction
         || isIn(0x2066, 0x2069);               // isolates
}

/// Of one character, well-formed.
char32_t codePointOf(std::string_view utf8) {
  const auto lead = static_cast<unsigned char>(utf8.front());
  char32_t c = utf8.size() == 1 ? lead : lead & (0xFFU >> (utf8.size() + 1));
  for (const char byte : utf8.substr(1)) c = c << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
  return c;
}

/// The text with each harmful character, and each part that is no UTF-8, replaced.
template <class Replacement>
std::string replacingHarmful(std::string_view text, const Replacement& replacement) {
  std::string result;
  while (!text.empty()) {
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    const std::string_view character = text.substr(0, sequence.length);
    const char32_t c = sequence.isWellFormed ? codePointOf(character) : U'\0';
    result += isHarmful(c) ? replacement(c) : std::string(character);
    text.remove_prefix(sequence.length);
  }
  return result;
}

std::size_t widthOf(const std::string& text) {
  return text::characters(text).size();
}

void printRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = shown(cells[i]);
    line += cell;
    if (i + 1 < cells.size()) line.append(widths[i] - std::min(widthOf(cell), widths[i]) + 2, ' ');
  }
  std::printf("%s\n", line.substr(0, line.find_last_not_of(' ') + 1).c_str());
}

}  // namespace

std::string shown(std::string_view text) {
  return replacingHarmful(text, [](char32_t) { return std::string("?"); });
}

std::string shownLines(std::string_view text) {
  return replacingHarmful(text, [](char32_t c) { return std::string(c == U'\n' ? "\n" : "?"); });
}

void print(const Table& table, const std::string& nothing) {
  if (table.rows.empty()) {
    std::printf("%s\n", nothing.c_str());
    return;
  }
  std::vector<std::size_t> widths;
  for (const std::string& heading : table.headings) widths.push_back(widthOf(heading));
  for (const auto& row : table.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(shown(row[i])));
  }
  printRow(table.headings, widths);
  for (const auto& row : table.rows) printRow(row, widths);
}

void print(const nlohmann::json& document) {
  // Outside of strings there are none but line feeds, which strings have escaped already.
  const auto escaped = [](char32_t c) {
    if (c == U'\n') return std::string("\n");
    char text[8] = {};
    (void)std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
    return std::string(text);
  };
  std::fputs(replacingHarmful(documentText(document), escaped).c_str(), stdout);
}

void remark(const std::string& text) {
  std::fprintf(stderr, "corvana: %s\n", shown(text).c_str());
}

void finishOutput() {
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
  throw std::system_error(errno == 0 ? EIO : errno, std::generic_category(), "cannot write what is to be printed");
}

}  // namespace corvana::commands
