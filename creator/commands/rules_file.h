#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "core/routing/rule_document.h"

namespace corvana::commands {

/// A rules file as a command was given it.
struct RulesFile {
  std::filesystem::path path;
  std::string text;
  RuleSet set;

  /// Reads that file, or the user's own for an empty path; when there is no such file of the user's, it has no rules.
  /// Throws std::runtime_error that says where the file is broken, "FILE:LINE:COLUMN: problem", or why it cannot be
  /// read.
  static RulesFile read(const std::filesystem::path& path);

  /// "FILE:LINE:COLUMN: " of the value at that path.
  std::string place(std::vector<std::string> jsonPath) const;
};

}  // namespace corvana::commands
