#include "platform/application/alerts_linux.h"

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/desktop/desktop_entry_linux.h"
#include "platform/files/user_directories.h"
#include "platform/text/markup.h"

namespace corvana {
namespace {

bool isKDE() {
  const char* desktop = std::getenv("XDG_CURRENT_DESKTOP");
  return desktop != nullptr && std::string_view(desktop).find("KDE") != std::string_view::npos;
}

/// Whether programs that are started from here take their arguments for UTF-8. Without a locale they are in "C".
bool isUTF8() {
  const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", locale_t{});
  if (locale == locale_t{}) return false;
  const bool result = std::string_view(::nl_langinfo_l(CODESET, locale)) == "UTF-8";
  ::freelocale(locale);
  return result;
}

/// zenity takes a backslash for the beginning of an escape sequence.
std::string withDoubledBackslashes(std::string text) {
  for (std::size_t i = 0; (i = text.find('\\', i)) != std::string::npos; i += 2) text.insert(i, 1, '\\');
  return text;
}

std::vector<std::string> zenityCommand(const std::string& program, const Alert& alert, const std::string& title) {
  return {program,
          "--info",
          "--title=" + title,
          "--text=" + withDoubledBackslashes("<b>" + escapedForMarkup(alert.messageText) + "</b>\n\n" +
                                             escapedForMarkup(alert.informativeText)),
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
  const auto notify = [this, alert] { notifications_.post(alert.messageText, alert.informativeText); };
  const std::vector<std::string> words = command(alert, title_);
  if (words.empty()) {
    notify();
    return dismissed();
  }
  const std::uint64_t number = nextDialog_++;
  const auto ended = [this, number, notify, dismissed, start = loop_.now()](const std::optional<siginfo_t>& ending) {
    // Both outlive the dialog, whose end this is.
    const auto tell = notify;
    const auto callback = dismissed;
    const bool hasFailed = ending && ending->si_status != 0 && loop_.now() - start < startUpTime;
    dialogs_.erase(number);
    if (hasFailed) tell();
    callback();
  };
  std::vector<std::string> environment = context_.environment();
  // zenity refuses arguments that its locale cannot express.
  if (!isUTF8()) environment.emplace_back("LC_ALL=C.UTF-8");
  try {
    const ChildProcess& dialog =
        dialogs_.try_emplace(number, loop_, words, userDirectories::home(), environment, ended).first->second;
    if (!dialog.isWatched()) dismissed();
  } catch (const std::system_error&) {
    notify();
    dismissed();
  }
}

}  // namespace corvana
