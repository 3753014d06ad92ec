#include "platform/desktop/desktop_entry_linux.h"

#include "platform/files/files.h"
#include "platform/files/key_file_glib.h"
#include "platform/files/xdg_directories_linux.h"
#include "platform/text/pointers_glib.h"

namespace corvana {
namespace {

std::string stringUnder(GKeyFile* file, const char* key) {
  const GMemoryPointer<char> text(::g_key_file_get_string(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr));
  return text ? text.get() : "";
}

bool isTrueUnder(GKeyFile* file, const char* key) {
  return ::g_key_file_get_boolean(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr) != 0;
}

/// One argument of an Exec line before its field codes are replaced.
struct ExecWord {
  std::string text;
  /// Codes inside quotes are not codes.
  bool isQuoted = false;
};

/// Takes an Exec value apart at its spaces. Quotes enclose a whole argument; inside them a backslash takes the special
/// meaning from a double quote, a backtick, a dollar sign and a backslash.
std::vector<ExecWord> wordsOf(std::string_view exec) {
  std::vector<ExecWord> words;
  bool isOpen = false;  // a word has begun
  for (std::size_t i = 0; i < exec.size(); ++i) {
    const char c = exec[i];
    if (c == ' ' || c == '\t' || c == '\n') {
      isOpen = false;
      continue;
    }
    if (!isOpen) words.emplace_back();
    isOpen = true;
    if (c != '"') {
      words.back().text += c;
      continue;
    }
    words.back().isQuoted = true;
    for (++i; i < exec.size() && exec[i] != '"'; ++i) {
      if (exec[i] == '\\' && i + 1 < exec.size() &&
          std::string_view("\"`$\\").find(exec[i + 1]) != std::string_view::npos) {
        ++i;
      }
      words.back().text += exec[i];
    }
    if (i == exec.size()) throw DesktopEntryError("a quoted argument does not end");
  }
  return words;
}

/// Whether the word stands for the files and URLs to open.
bool isPlaceOfArguments(const ExecWord& word) {
  return !word.isQuoted && (word.text == "%f" || word.text == "%F" || word.text == "%u" || word.text == "%U");
}

/// The word with its codes replaced. Within quotes there are none but the doubled percent sign.
std::string expand(const ExecWord& word, const DesktopEntry& entry) {
  std::string result;
  for (std::size_t i = 0; i < word.text.size(); ++i) {
    const bool isLast = i + 1 == word.text.size();
    if (word.text[i] != '%' || (word.isQuoted && (isLast || word.text[i + 1] != '%'))) {
      result += word.text[i];
      continue;
    }
    if (isLast) throw DesktopEntryError("a percent sign stands alone (%% or a field code expected)");
    switch (const char code = word.text[++i]) {
      case '%':
        result += '%';
        break;
      case 'c':
        result += entry.name;
        break;
      case 'k':
        result += entry.file.string();
        break;
      // Inside a word these have no meaning; the second line is deprecated and to be removed.
      case 'f':
      case 'F':
      case 'u':
      case 'U':
      case 'i':
      case 'd':
      case 'D':
      case 'n':
      case 'N':
      case 'v':
      case 'm':
        break;
      default:
        throw DesktopEntryError(std::string("unknown field code %") + code);
    }
  }
  return result;
}

/// The file of that name below the folder. A dash may stand for the slash behind a subfolder.
std::optional<std::filesystem::path> fileOf(std::string_view desktopID, const std::filesystem::path& folder) {
  if (files::exists(folder / desktopID)) return folder / desktopID;
  for (std::size_t dash = desktopID.find('-'); dash != std::string_view::npos; dash = desktopID.find('-', dash + 1)) {
    const std::filesystem::path subfolder = folder / desktopID.substr(0, dash);
    std::error_code ignored;
    if (dash == 0 || !std::filesystem::is_directory(subfolder, ignored)) continue;
    if (auto file = fileOf(desktopID.substr(dash + 1), subfolder)) return file;
  }
  return std::nullopt;
}

}  // namespace

DesktopEntry DesktopEntry::read(const std::filesystem::path& file) {
  const KeyFile keys(::g_key_file_new());
  GError* rawError = nullptr;
  constexpr std::size_t maximumBytes = 1 << 20;
  std::string content;
  try {
    content = files::read(file, maximumBytes);
  } catch (const std::filesystem::filesystem_error& error) {
    throw DesktopEntryError(error.what());
  }
  if (!::g_key_file_load_from_data(keys.get(), content.data(), content.size(), G_KEY_FILE_NONE, &rawError)) {
    const GErrorPointer error(rawError);
    throw DesktopEntryError(file.string() + ": " + error->message);
  }
  if (stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_TYPE) != G_KEY_FILE_DESKTOP_TYPE_APPLICATION) {
    throw DesktopEntryError(file.string() + ": no desktop entry with Type=Application");
  }

  const GMemoryPointer<char> name(::g_key_file_get_locale_string(keys.get(), G_KEY_FILE_DESKTOP_GROUP,
                                                                 G_KEY_FILE_DESKTOP_KEY_NAME, nullptr, nullptr));
  return {.file = file,
          .name = name ? name.get() : "",
          .icon = stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_ICON),
          .exec = stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_EXEC),
          .tryExec = stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_TRY_EXEC),
          .workingDirectory = stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_PATH),
          .isHidden = isTrueUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_HIDDEN),
          .isWithoutDisplay = isTrueUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY),
          .runsInTerminal = isTrueUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_TERMINAL),
          .categories = stringUnder(keys.get(), G_KEY_FILE_DESKTOP_KEY_CATEGORIES),
          .flatpakID = stringUnder(keys.get(), "X-Flatpak"),
          .snapName = stringUnder(keys.get(), "X-SnapInstanceName"),
          .bundle = stringUnder(keys.get(), DesktopEntry::bundleKey)};
}

std::optional<DesktopEntry> DesktopEntry::find(std::string_view desktopID) {
  for (const std::filesystem::path& directory : xdg::dataDirectories()) {
    const auto file = fileOf(desktopID, directory / "applications");
    if (!file) continue;
    try {
      DesktopEntry entry = read(*file);
      const bool isUsable = !entry.isHidden && (entry.tryExec.empty() || findProgram(entry.tryExec)) &&
                            findProgram(entry.commandLine({}).front());
      return isUsable ? std::optional(std::move(entry)) : std::nullopt;
    } catch (const DesktopEntryError&) {
      return std::nullopt;  // an entry that cannot be started is as good as none
    }
  }
  return std::nullopt;
}

std::vector<std::string> DesktopEntry::commandLine(std::span<const std::string> arguments) const {
  try {
    const std::vector<ExecWord> words = wordsOf(exec);
    std::vector<std::string> result{words.empty() ? "" : expand(words.front(), *this)};
    if (result.front().empty()) throw DesktopEntryError("no program is named");
    bool hasPlace = false;
    for (const ExecWord& word : std::span(words).subspan(1)) {
      if (isPlaceOfArguments(word)) {
        if (!hasPlace) result.insert(result.end(), arguments.begin(), arguments.end());
        hasPlace = true;
      } else if (!word.isQuoted && word.text == "%i") {
        if (!icon.empty()) result.insert(result.end(), {"--icon", icon});
      } else if (std::string text = expand(word, *this); word.isQuoted || !text.empty()) {
        result.push_back(std::move(text));
      }
    }
    if (!hasPlace) result.insert(result.end(), arguments.begin(), arguments.end());
    return result;
  } catch (const DesktopEntryError& error) {
    throw DesktopEntryError(file.string() + ": Exec=" + exec + ": " + error.what());
  }
}

std::string quotedForExec(const std::string& word) {
  std::string result = "\"";
  for (const char c : word) {
    if (std::string_view("\"`$\\").find(c) != std::string_view::npos) result += '\\';
    if (c == '%') result += c;
    result += c;
  }
  return result + "\"";
}

std::optional<std::filesystem::path> findProgram(const std::string& name) {
  const GMemoryPointer<char> program(::g_find_program_in_path(name.c_str()));
  if (!program) return std::nullopt;
  return program.get();
}

}  // namespace corvana
