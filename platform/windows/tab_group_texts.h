#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

class LocalePak;

/// How Chrome names tab groups to assistive technology, in its user's language. It says more than the group's own name,
/// which may hold anything, also what stands beside it. Pure.
class TabGroupTexts {
 public:
  /// A button for a saved group.
  struct Saved {
    std::string name;
    bool isOpen = false;
    bool operator==(const Saved&) const = default;
  };

  /// Those of English.
  TabGroupTexts();

  /// Those of `local`, found by the numbers that the same texts have in English; both are of the same release. Nothing
  /// when it has other texts than those known here.
  static std::optional<TabGroupTexts> from(const LocalePak& english, const LocalePak& local);

  /// What a button stands for; nothing for groups that are shared with others, and whatever else it may be.
  std::optional<Saved> saved(std::string_view button) const;

  /// Whether this may be the header of the group of that name in a tab strip. What follows the name there is free text,
  /// so that it may be the header of one whose name goes on.
  bool mayBeHeader(std::string_view header, std::string_view name) const;

  /// Which of the names the header is of: the longest that it may be.
  std::optional<std::string> nameIn(std::string_view header, const std::vector<std::string>& names) const;

  /// Whether the tab of that name says that it belongs to the group.
  bool belongsTo(std::string_view tab, std::string_view name) const;

 private:
  std::string button_;
  std::string header_;
  std::string tab_;
  std::string opened_;
  std::string closed_;
};

}  // namespace corvana
