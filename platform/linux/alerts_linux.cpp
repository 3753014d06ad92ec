#include "platform/linux/alerts_linux.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/linux/desktop_entry.h"
#include "platform/markup.h"
#include "platform/user_directories.h"

namespace corvana {
namespace {

bool isKDE() {
  const char* desktop = std::getenv("XDG_CURRENT_DESKTOP");
  return desktop != nullptr && std::string_view(desktop).find("KDE") != std::string_view::npos;
}

std::vector<std::string> zenityCommand(const std::string& program, const Alert& alert, const std::string& title) {
  return {program,
          "--info",
          "--title=" + title,
          "--text=<b>" + escapedForMarkup(alert.messageText) + "</b>\n\n" + escapedForMarkup(alert.informativeText),
          "--ok-label=" + alert.buttonTitle,
          "--width=420"};
}

std::vector<std::string> kdialogCommand(const std::string& program, const Alert& alert, const std::string& title) {
  std::string informativeText = escapedForMarkup(alert.informativeText);
  for (std::size_t end = 0; (end = informativeText.find('\n', end)) != std::string::npos;) {
    informativeText.replace(end, 1, "<br>");
  }
  return {program,
          "--title",
          title,
          "--ok-label",
          alert.buttonTitle,
          "--msgbox",
          "<qt><b>" + escapedForMarkup(alert.messageText) + "</b><br><br>" + informativeText + "</qt>"};
}

}  // namespace

std::vector<std::string> AlertsLinux::command(const Alert& alert, const std::string& title) {
  std::array<std::string, 2> programs{"zenity", "kdialog"};
  if (isKDE()) std::ranges::reverse(programs);
  for (const std::string& name : programs) {
    const auto program = findProgram(name);
    if (!program) continue;
    return name == "zenity" ? zenityCommand(program->string(), alert, title)
                            : kdialogCommand(program->string(), alert, title);
  }
  return {};
}

AlertsLinux::~AlertsLinux() {
  for (const auto& [number, dialog] : dialogs_) dialog.terminate();
}

void AlertsLinux::runModal(const Alert& alert, std::function<void()> dismissed) {
  const std::vector<std::string> words = command(alert, title_);
  if (words.empty()) {
    notifications_.post(alert.messageText, alert.informativeText);
    return dismissed();
  }
  const std::uint64_t number = nextDialog_++;
  try {
    const auto ended = [this, number, dismissed](const std::optional<siginfo_t>&) {
      const auto callback = dismissed;  // outlives the dialog
      dialogs_.erase(number);
      callback();
    };
    const ChildProcess& dialog =
        dialogs_.try_emplace(number, loop_, words, userDirectories::home(), std::vector<std::string>(), ended)
            .first->second;
    if (!dialog.isWatched()) dismissed();
  } catch (const std::system_error&) {
    notifications_.post(alert.messageText, alert.informativeText);
    dismissed();
  }
}

}  // namespace corvana
