#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace corvana::commands {

/// What a command lists: for people as a table, for programs as JSON.
struct Table {
  std::vector<std::string> headings;
  std::vector<std::vector<std::string>> rows;
};

/// With control characters shown as "?": names come from other programs' files.
std::string shown(std::string text);

/// Prints the table with aligned columns, or `nothing` when it has no rows.
void print(const Table& table, const std::string& nothing);

void print(const nlohmann::json& document);

}  // namespace corvana::commands
