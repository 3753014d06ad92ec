#include "creator/commands/output.h"

#include <algorithm>
#include <cstdio>

#include "core/identity/json_coding.h"
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

std::string shown(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == '\x7F') c = '?';
  }
  return text;
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
  std::fputs(documentText(document).c_str(), stdout);
}

}  // namespace corvana::commands
