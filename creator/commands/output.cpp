#include "creator/commands/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "core/identity/json_coding.h"
#include "platform/text/terminal_text.h"
#include "platform/text/text.h"

namespace corvana::commands {
namespace {

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
  return terminal::replacingHarmful(text, [](std::string_view, char32_t) { return std::string("?"); });
}

std::string shownLines(std::string_view text) {
  return terminal::replacingHarmful(text,
                                    [](std::string_view, char32_t c) { return std::string(c == U'\n' ? "\n" : "?"); });
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
  const auto escaped = [](std::string_view, char32_t c) {
    if (c == U'\n') return std::string("\n");
    char text[8] = {};
    (void)std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
    return std::string(text);
  };
  std::fputs(terminal::replacingHarmful(documentText(document), escaped).c_str(), stdout);
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
