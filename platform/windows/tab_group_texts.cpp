#include "platform/windows/tab_group_texts.h"

#include "platform/windows/locale_pak.h"

namespace corvana {
namespace {

// $1 says that others share the group, and is empty else.
constexpr std::string_view englishButton = "$1 $2 group - $3";       // name, whether it is open
constexpr std::string_view englishHeader = "$1 group $2 - $3 - $4";  // name, tabs, whether they are shown
constexpr std::string_view englishTab = "$1 - Part of group $2";     // title, name
constexpr std::string_view englishOpened = "Opened";
constexpr std::string_view englishClosed = "Closed";

/// The text with one placeholder filled in.
std::string filled(std::string text, std::string_view placeholder, std::string_view value) {
  if (const std::size_t place = text.find(placeholder); place != std::string::npos) {
    text.replace(place, placeholder.size(), value);
  }
  return text;
}

}  // namespace

TabGroupTexts::TabGroupTexts()
    : button_(englishButton),
      header_(englishHeader),
      tab_(englishTab),
      opened_(englishOpened),
      closed_(englishClosed) {}

std::optional<TabGroupTexts> TabGroupTexts::from(const LocalePak& english, const LocalePak& local) {
  TabGroupTexts result;
  const auto button = english.numberOf(englishButton);
  if (!button) return std::nullopt;
  const auto translate = [&](std::string& text, std::uint16_t from) {
    const auto number = english.numberOf(text, from);
    const auto translation = number ? local.text(*number) : std::nullopt;
    if (translation) text = *translation;
    return translation.has_value();
  };
  // The words for the state may stand elsewhere, too; those of the button follow it.
  const bool areAllThere = translate(result.button_, *button) && translate(result.header_, 0) &&
                           translate(result.tab_, 0) && translate(result.opened_, *button) &&
                           translate(result.closed_, *button);
  return areAllThere ? std::optional(result) : std::nullopt;
}

std::optional<TabGroupTexts::Saved> TabGroupTexts::saved(std::string_view button) const {
  for (const bool isOpen : {true, false}) {
    const std::string pattern = filled(filled(button_, "$1", ""), "$3", isOpen ? opened_ : closed_);
    const std::size_t place = pattern.find("$2");
    if (place == std::string::npos) return std::nullopt;
    const std::string_view before = std::string_view(pattern).substr(0, place);
    const std::string_view after = std::string_view(pattern).substr(place + 2);
    if (button.size() >= before.size() + after.size() && button.starts_with(before) && button.ends_with(after)) {
      button.remove_prefix(before.size());
      button.remove_suffix(after.size());
      return Saved{std::string(button), isOpen};
    }
  }
  return std::nullopt;
}

bool TabGroupTexts::mayBeHeader(std::string_view header, std::string_view name) const {
  const std::string pattern = filled(header_, "$1", "");
  const std::size_t place = pattern.find("$2");
  if (place == std::string::npos) return false;
  const std::size_t end = pattern.find('$', place + 1);
  return header.starts_with(pattern.substr(0, place) + std::string(name) +
                            pattern.substr(place + 2, end == std::string::npos ? end : end - place - 2));
}

std::optional<std::string> TabGroupTexts::nameIn(std::string_view header, const std::vector<std::string>& names) const {
  std::optional<std::string> result;
  for (const std::string& name : names) {
    if (mayBeHeader(header, name) && (!result || name.size() > result->size())) result = name;
  }
  return result;
}

bool TabGroupTexts::belongsTo(std::string_view tab, std::string_view name) const {
  const std::string pattern = filled(filled(tab_, "$1", ""), "$2", name);
  return tab.find(pattern) != std::string_view::npos;
}

}  // namespace corvana
