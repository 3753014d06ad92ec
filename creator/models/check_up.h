#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/identity/enum_names.h"

namespace corvana {

/// What there is to know of an installation before it can be judged. Whoever asks the system fills it in.
struct CheckUpFacts {
  struct Document {
    /// "rules.json".
    std::string name;
    /// Where and how it is broken; empty for one that can be read, or is not there.
    std::string problem;
    /// What is wrong with its content, in words, as many as there are.
    std::vector<std::string> warnings;
  };
  struct App {
    std::string name;
    bool isMissing = false;
    /// Why it should be built anew.
    std::vector<std::string> rebuildReasons;
  };
  struct HelperAnswer {
    std::optional<std::int32_t> chromeProcess;
    std::int64_t windowCount = 0;
    bool isCertain = false;
    /// What cannot be seen, and why; empty when all can.
    std::string problem;
  };

  /// The name of the browser whose profiles are served; nothing when there is none.
  std::optional<std::string> chromeName;
  /// How many profiles it has; none before its first start.
  std::size_t profileCount = 0;

  std::string ownVersion;
  std::optional<std::string> helperVersion;
  bool isHelperSwitchedOff = false;
  /// Nothing when no helper answers.
  std::optional<HelperAnswer> helper;
  bool startsAtLogin = false;
  /// Registered, but switched off in the desktop's settings.
  bool loginNeedsApproval = false;

  bool isDefaultBrowser = false;
  /// Who opens links instead; nothing when nobody does.
  std::optional<std::string> defaultBrowserName;
  bool hasRules = false;

  std::vector<App> apps;
  std::vector<Document> documents;
  /// Why nothing can be written to the support folder; empty when all is well.
  std::string supportFolderProblem;
  /// What is left of an earlier name of the product; empty for nothing.
  std::string leftovers;
};

/// One line of the check-up.
struct CheckUpLine {
  enum class State { problem, warning, fine, unknown };

  /// What it is about, for programs: "helper", "defaultBrowser".
  std::string subject;
  State state = State::fine;
  /// What is so.
  std::string text;
  /// What that means for the user, and what to do about it; empty for nothing.
  std::string remedy;

  bool operator==(const CheckUpLine&) const = default;
};

template <>
struct EnumNames<CheckUpLine::State> {
  using enum CheckUpLine::State;
  static constexpr std::array<EnumName<CheckUpLine::State>, 4> rows{
      {{problem, "problem"}, {warning, "warning"}, {fine, "fine"}, {unknown, "unknown"}}};
};

/// Says of each part of the installation how it is, problems first. Names neither links nor profiles, so that people
/// can send it to others. Pure.
std::vector<CheckUpLine> checkUp(const CheckUpFacts& facts);

}  // namespace corvana
