#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "core/routing/rule_check.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"
#include "creator/commands/rules_file.h"

namespace corvana::commands {
namespace {

void check(const std::filesystem::path& path) {
  const RulesFile file = RulesFile::read(path);
  const std::vector<RuleWarning> warnings = checkRules(file.set);
  for (const RuleWarning& warning : warnings) {
    const std::string place = file.place({"rules", "[" + std::to_string(warning.rule) + "]"});
    const std::string text = place + "rule \"" + file.set.rules[warning.rule].name + "\": " + warning.text;
    std::printf("%s\n", shown(text).c_str());
  }
  std::printf("%s\n", file.set.summary().c_str());
  if (!warnings.empty()) throw CLI::RuntimeError(1);
}

}  // namespace

void addRules(CLI::App& app) {
  CLI::App* command = app.add_subcommand("rules", "Look after the rules that links are routed by");
  command->require_subcommand(1);
  const auto file = std::make_shared<std::filesystem::path>();
  CLI::App* checkCommand =
      command->add_subcommand("check", "Find what is wrong in a rules file; fails when something is");
  checkCommand->add_option("file", *file, "The file (default: the user's own)");
  checkCommand->callback([file] { check(*file); });
}

}  // namespace corvana::commands
