#pragma once

#include <filesystem>

#include "core/routing/rule_document.h"

namespace corvana::commands {

/// The rules of that file, or the user's own for an empty path; no file of the user's own is no rules. Throws
/// std::runtime_error that says where the file is broken, "FILE:LINE:COLUMN: problem", or why it cannot be read.
RuleSet readRules(const std::filesystem::path& file);

}  // namespace corvana::commands
