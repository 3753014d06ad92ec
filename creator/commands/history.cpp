#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "core/identity/json_coding.h"
#include "core/routing/recent_links.h"
#include "creator/commands/commands.h"
#include "creator/commands/output.h"

namespace corvana::commands {
namespace {

/// In the user's time zone.
std::string localTime(std::chrono::sys_seconds date) {
  const std::time_t time = std::chrono::system_clock::to_time_t(date);
  std::tm local{};
  char text[32] = {};
  if (::localtime_r(&time, &local) == nullptr || std::strftime(text, sizeof text, "%F %T", &local) == 0) return "";
  return text;
}

void list(bool asJSON) {
  const RecentLinksStore store;
  if (store.problem()) remark("recent-links.json could not be read: " + *store.problem());
  if (asJSON) {
    return print(parseJSON(RecentLinksStore::documentText(store.links())));
  }
  Table table{.headings = {"TIME", "LINK", "FROM", "TO", "RULE"}, .rows = {}};
  for (const RecentLink& link : store.links()) {
    const RecentLink::Display display = link.display();
    const std::string target = link.targetName.value_or(link.targetBundleID.value_or(""));
    table.rows.push_back({localTime(link.date), display.host + display.path,
                          link.sourceName.value_or(link.sourceBundleID.value_or("")),
                          target + (link.targetWasMissing ? " (for one that is missing)" : ""),
                          link.isFallback() ? "none" : link.ruleName.value_or("")});
  }
  print(table, "No links have been routed.");
}

}  // namespace

void addHistory(CLI::App& app) {
  struct Options {
    bool clears = false;
    bool asJSON = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* command = app.add_subcommand("history", "List the links that were routed, newest first");
  command->add_flag("--clear", options->clears, "Forget them instead");
  command->add_flag("--json", options->asJSON, "Print JSON");
  command->callback([options] {
    if (options->clears) {
      if (const auto problem = RecentLinksStore().clear()) {
        throw std::runtime_error("the history was not cleared: " + *problem);
      }
    } else {
      list(options->asJSON);
    }
  });
}

}  // namespace corvana::commands
