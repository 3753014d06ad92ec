#include "creator/models/check_up.h"

#include <algorithm>
#include <utility>

namespace corvana {
namespace {

using State = CheckUpLine::State;

std::string counted(std::size_t count, const char* one, const char* several) {
  return std::to_string(count) + (count == 1 ? one : several);
}

CheckUpLine chromeLine(const CheckUpFacts& facts) {
  if (!facts.chromeName) {
    return {"chrome", State::problem, "No Chrome or Chromium found", "Corvana needs one of them: install it."};
  }
  if (facts.profileCount == 0) {
    return {"chrome", State::warning, *facts.chromeName + " has no profiles yet", "Start it once."};
  }
  return {"chrome", State::fine, *facts.chromeName + ", " + counted(facts.profileCount, " profile", " profiles"), ""};
}

CheckUpLine windowsLine(const CheckUpFacts& facts) {
  if (!facts.helper) {
    return {"windows", State::unknown, "Whether windows can be told apart is not known",
            "The helper has to run for that."};
  }
  if (!facts.helper->problem.empty()) {
    return {"windows", State::problem, "Windows cannot be told apart: apps count all of Chrome's windows as theirs",
            facts.helper->problem};
  }
  if (!facts.helper->chromeProcess) {
    return {"windows", State::fine, "Chrome is not running; its windows will be looked at when it is", ""};
  }
  if (!facts.helper->isCertain) {
    return {"windows", State::warning,
            "It is not known yet whose all windows are: " +
                counted(static_cast<std::size_t>(facts.helper->windowCount), " window", " windows"),
            "Look again in a moment."};
  }
  return {"windows", State::fine,
          "Windows can be told apart: " +
              counted(static_cast<std::size_t>(facts.helper->windowCount), " window", " windows"),
          ""};
}

CheckUpLine helperLine(const CheckUpFacts& facts) {
  const std::string start = "Start it with \"corvana helper start\".";
  if (facts.isHelperSwitchedOff) {
    return {"helper", State::warning, "The helper looks after no windows, as the settings say",
            "Switch it on with \"corvana settings disablesHelper=false\"."};
  }
  if (!facts.helperVersion) {
    return {"helper", State::problem, "The helper is not installed",
            "Apps open windows only, and rules do nothing. " + start};
  }
  if (!facts.helper) {
    return {"helper", State::problem, "The helper does not run",
            "Apps open windows only, and rules do nothing. " + start};
  }
  if (facts.helperVersion != facts.ownVersion) {
    return {"helper", State::warning, "The helper is version " + *facts.helperVersion + ", Corvana " + facts.ownVersion,
            "Bring it up to date with \"corvana helper start\"."};
  }
  return {"helper", State::fine, "The helper runs, version " + *facts.helperVersion, ""};
}

CheckUpLine loginLine(const CheckUpFacts& facts) {
  if (facts.loginNeedsApproval) {
    return {"login", State::warning, "The helper's start at login is switched off in the desktop's settings",
            "Allow it there, in the list of programs that start at login."};
  }
  if (!facts.startsAtLogin) {
    return {"login", State::warning, "The helper does not start at login",
            "The first app or link starts it. To have it ready: \"corvana helper start --at-login\"."};
  }
  return {"login", State::fine, "The helper starts at login", ""};
}

CheckUpLine defaultBrowserLine(const CheckUpFacts& facts) {
  if (facts.isDefaultBrowser) return {"defaultBrowser", State::fine, "Links come to Corvana", ""};
  const std::string who = facts.defaultBrowserName ? "Links go to " + *facts.defaultBrowserName : "Nobody opens links";
  if (!facts.hasRules && facts.defaultBrowserName)
    return {"defaultBrowser", State::fine, who + "; there are no rules", ""};
  return {"defaultBrowser", State::warning, who + ", not to Corvana",
          "Your rules have nothing to do. Make it the default browser with \"corvana default-browser on\"."};
}

CheckUpLine appsLine(const CheckUpFacts& facts) {
  std::size_t outdated = 0;
  std::string missing;
  for (const CheckUpFacts::App& app : facts.apps) {
    if (app.isMissing) missing += (missing.empty() ? "" : ", ") + app.name;
    if (!app.isMissing && !app.rebuildReasons.empty()) ++outdated;
  }
  if (!missing.empty()) {
    return {"apps", State::warning, "Not found: " + missing, "Rules that send links there use another browser."};
  }
  if (outdated > 0) {
    return {"apps", State::warning, counted(outdated, " app", " apps") + " can be updated", "Build them anew."};
  }
  return {"apps", State::fine, counted(facts.apps.size(), " app", " apps"), ""};
}

std::vector<CheckUpLine> documentLines(const CheckUpFacts& facts) {
  std::vector<CheckUpLine> lines;
  for (const CheckUpFacts::Document& document : facts.documents) {
    if (!document.problem.empty()) {
      lines.push_back({document.name, State::problem, document.name + " can't be read: " + document.problem,
                       "Mend the file, or put it aside to start afresh."});
    }
    for (const std::string& warning : document.warnings) {
      lines.push_back({document.name, State::warning, document.name + ": " + warning, ""});
    }
  }
  return lines;
}

}  // namespace

std::vector<CheckUpLine> checkUp(const CheckUpFacts& facts) {
  std::vector<CheckUpLine> lines{chromeLine(facts), windowsLine(facts), defaultBrowserLine(facts),
                                 helperLine(facts), loginLine(facts),   appsLine(facts)};
  for (CheckUpLine& line : documentLines(facts)) lines.push_back(std::move(line));
  if (facts.supportFolderProblem.empty()) {
    lines.push_back({"supportFolder", State::fine, "The support folder can be written to", ""});
  } else {
    lines.push_back({"supportFolder", State::problem, "The support folder cannot be written to",
                     facts.supportFolderProblem + ". Rules, history and apps cannot be saved."});
  }
  if (!facts.leftovers.empty()) {
    lines.push_back({"leftovers", State::warning, facts.leftovers, "Corvana has taken over its data."});
  }
  std::ranges::stable_sort(lines, {}, &CheckUpLine::state);
  return lines;
}

}  // namespace corvana
