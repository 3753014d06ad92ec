#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace corvana::commands {

/// What a command lists: for people as a table, for programs as JSON.
struct Table {
  std::vector<std::string> headings;
  std::vector<std::vector<std::string>> rows;
};

/// Fit for a terminal: characters that control it, that turn the direction of text or that break lines are shown as
/// "?", and so are bytes that are no UTF-8. Links and names come from strangers.
std::string shown(std::string_view text);

/// The same for a text of several lines.
std::string shownLines(std::string_view text);

/// Prints the table with aligned columns, or `nothing` when it has no rows.
void print(const Table& table, const std::string& nothing);

/// With such characters in JSON's own notation, which means the same to programs.
void print(const nlohmann::json& document);

/// Says on standard error what the user should know, though the command goes on.
void remark(const std::string& text);

/// Throws std::system_error when not all that was printed has reached its place.
void finishOutput();

}  // namespace corvana::commands
