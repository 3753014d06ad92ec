#include "creator/commands/rules_file.h"

#include <stdexcept>
#include <utility>

#include "core/identity/corvana.h"
#include "core/identity/document_file.h"
#include "core/identity/json_coding.h"
#include "core/identity/json_position.h"
#include "platform/files/files.h"

namespace corvana::commands {
namespace {

std::string placeText(const std::filesystem::path& path, const TextPosition& position) {
  return path.string() + ":" + std::to_string(position.line) + ":" + std::to_string(position.column) + ": ";
}

}  // namespace

RulesFile RulesFile::read(const std::filesystem::path& path) {
  const bool isOwn = path.empty();
  RulesFile file{.path = isOwn ? Corvana::rulesURL() : path, .text = "{}", .set = {}};
  if (isOwn && !files::exists(file.path)) return file;
  file.text = files::read(file.path, DocumentFile::maximumBytes);
  try {
    file.set = RuleSet::parse(file.text);
  } catch (const DecodingError& error) {
    throw std::runtime_error(placeText(file.path, positionOf(error, file.text)) + error.what());
  }
  return file;
}

std::string RulesFile::place(std::vector<std::string> jsonPath) const {
  return placeText(path, positionOf(std::move(jsonPath), text));
}

}  // namespace corvana::commands
