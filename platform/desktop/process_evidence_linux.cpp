#include "platform/desktop/process_evidence_linux.h"

#include <algorithm>
#include <utility>

#include "platform/process/processes_linux.h"
#include "platform/text/ascii.h"

namespace corvana::processEvidence {
namespace {

/// Takes the text before the separator, or all of it, away from `rest`.
std::string_view next(std::string_view& rest, char separator) {
  const std::string_view taken = rest.substr(0, rest.find(separator));
  rest.remove_prefix(std::min(rest.size(), taken.size() + 1));
  return taken;
}

/// Undoes "\x2d"; nothing for what no desktop entry is named.
std::optional<std::string> unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!text.substr(i).starts_with("\\x")) {
      result += text[i];
      continue;
    }
    unsigned char byte = 0;
    const std::string_view digits = text.substr(i + 2, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (error != std::errc() || end != digits.data() + 2) return std::nullopt;
    result += static_cast<char>(byte);
    i += 3;
  }
  const bool isName = !result.empty() && result.front() != '.' && result.find('/') == std::string::npos &&
                      result.find('\0') == std::string::npos;
  return isName ? std::optional(std::move(result)) : std::nullopt;
}

std::optional<Unit> unitNamed(std::string_view name) {
  constexpr std::string_view prefix = "app-";
  constexpr std::string_view scope = ".scope";
  constexpr std::string_view service = ".service";
  if (!name.starts_with(prefix)) return std::nullopt;
  name.remove_prefix(prefix.size());
  Unit unit;
  if (name.ends_with(scope)) {
    name.remove_suffix(scope.size());
    const std::size_t dash = name.rfind('-');
    if (dash == std::string_view::npos) return std::nullopt;
    unit.firstProcess = processes::numberFrom<pid_t>(name.substr(dash + 1));
    name = name.substr(0, dash);
  } else if (name.ends_with(service)) {
    name.remove_suffix(service.size());
    name = name.substr(0, name.find('@'));
  } else {
    return std::nullopt;
  }
  // A launcher that escapes no dashes leaves open where the name begins.
  const std::size_t dash = name.find('-');
  const auto add = [&unit](std::string_view id) {
    if (auto text = unescaped(id)) unit.desktopIDs.push_back(std::move(*text));
  };
  if (dash != std::string_view::npos) add(name.substr(dash + 1));
  const bool isAllEscaped = dash != std::string_view::npos && name.find('-', dash + 1) == std::string_view::npos &&
                            name.find("\\x") != std::string_view::npos;
  if (!isAllEscaped) add(name);
  return unit.desktopIDs.empty() ? std::nullopt : std::optional(std::move(unit));
}

}  // namespace

std::optional<Unit> unitIn(std::string_view cgroup) {
  while (!cgroup.empty()) {
    std::string_view line = next(cgroup, '\n');
    const std::string_view hierarchy = next(line, ':');
    const std::string_view controllers = next(line, ':');
    if (controllers != "name=systemd" && (hierarchy != "0" || !controllers.empty())) continue;
    // The innermost.
    for (std::size_t slash = line.rfind('/'); slash != std::string_view::npos; slash = line.rfind('/')) {
      if (auto unit = unitNamed(line.substr(slash + 1))) return unit;
      line = line.substr(0, slash);
    }
  }
  return std::nullopt;
}

std::optional<std::string> flatpakIDIn(std::string_view info) {
  constexpr std::string_view key = "name=";
  bool isInGroup = false;
  while (!info.empty()) {
    const std::string_view line = next(info, '\n');
    if (line.starts_with('[')) {
      isInGroup = line == "[Application]";
    } else if (isInGroup && line.starts_with(key)) {
      const std::string_view name = line.substr(key.size());
      const bool isName = !name.empty() && name.front() != '.' && std::ranges::all_of(name, [](char c) {
        return ascii::isAlphanumeric(c) || c == '.' || c == '-' || c == '_';
      });
      return isName ? std::optional<std::string>(name) : std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<std::filesystem::path> launchedEntryIn(std::string_view environment, pid_t process) {
  constexpr std::string_view entryName = "GIO_LAUNCHED_DESKTOP_FILE=";
  constexpr std::string_view processName = "GIO_LAUNCHED_DESKTOP_FILE_PID=";
  std::optional<std::filesystem::path> entry;
  bool isOfProcess = false;
  while (!environment.empty()) {
    const std::string_view variable = next(environment, '\0');
    if (variable.starts_with(entryName)) entry = variable.substr(entryName.size());
    if (variable.starts_with(processName)) {
      isOfProcess = processes::numberFrom<pid_t>(variable.substr(processName.size())) == process;
    }
  }
  return isOfProcess && entry && entry->is_absolute() ? entry : std::nullopt;
}

std::optional<pid_t> parentIn(std::string_view stat) {
  const std::size_t nameEnd = stat.rfind(')');
  if (nameEnd == std::string_view::npos) return std::nullopt;
  std::string_view rest = stat.substr(nameEnd + 1);
  (void)next(rest, ' ');
  (void)next(rest, ' ');  // the state
  return processes::numberFrom<pid_t>(next(rest, ' '));
}

std::vector<std::string> textsIn(std::string_view list) {
  std::vector<std::string> result;
  while (!list.empty()) result.emplace_back(next(list, '\0'));
  return result;
}

std::optional<std::string> interpreterIn(std::string_view script) {
  constexpr std::string_view mark = "#!";
  if (!script.starts_with(mark)) return std::nullopt;
  std::string_view line = script.substr(mark.size(), script.find('\n') - mark.size());
  const auto word = [&line] {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return next(line, ' ');
  };
  std::string_view interpreter = word();
  if (interpreter.ends_with("/env")) {
    interpreter = word();
    if (interpreter == "-S") interpreter = word();
  }
  return interpreter.empty() ? std::nullopt : std::optional<std::string>(interpreter);
}

}  // namespace corvana::processEvidence
