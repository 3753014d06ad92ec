#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "core/identity/corvana.h"
#include "core/identity/json_coding.h"
#include "core/identity/json_position.h"
#include "core/routing/rule_check.h"
#include "creator/commands/commands.h"
#include "creator/commands/rules_file.h"
#include "platform/files.h"

namespace corvana::commands {
namespace {

void check(const std::filesystem::path& file) {
  const RuleSet set = readRules(file);
  for (const RuleWarning& warning : checkRules(set)) {
    std::printf("rule %zu \"%s\": %s\n", warning.rule + 1, set.rules[warning.rule].name.c_str(), warning.text.c_str());
  }
  std::printf("%s\n", set.summary().c_str());
}

}  // namespace

RuleSet readRules(const std::filesystem::path& file) {
  constexpr std::size_t maximumBytes = std::size_t{256} << 20;
  const bool isOwn = file.empty();
  const std::filesystem::path path = isOwn ? Corvana::rulesURL() : file;
  if (isOwn && !std::filesystem::exists(path)) return {};
  const std::string text = files::read(path, maximumBytes);
  try {
    return RuleSet::parse(text);
  } catch (const DecodingError& error) {
    const TextPosition position = positionOf(error, text);
    throw std::runtime_error(path.string() + ":" + std::to_string(position.line) + ":" +
                             std::to_string(position.column) + ": " + error.what());
  }
}

void addRules(CLI::App& app) {
  CLI::App* command = app.add_subcommand("rules", "Look after the rules that links are routed by");
  command->require_subcommand(1);
  const auto file = std::make_shared<std::filesystem::path>();
  CLI::App* checkCommand = command->add_subcommand("check", "Find what is wrong in a rules file");
  checkCommand->add_option("file", *file, "The file (default: the user's own)");
  checkCommand->callback([file] { check(*file); });
}

}  // namespace corvana::commands
