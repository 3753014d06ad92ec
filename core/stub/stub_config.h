#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "core/identity/bundle.h"
#include "core/identity/enum_names.h"

namespace corvana {

/// Colour treatment of the symbol on a proxy app's icon.
enum class SymbolStyle { auto_, light, dark };

template <>
struct EnumNames<SymbolStyle> {
  static constexpr std::array<EnumName<SymbolStyle>, 3> rows{
      {{SymbolStyle::auto_, "auto"}, {SymbolStyle::light, "light"}, {SymbolStyle::dark, "dark"}}};
};

/// How a proxy app's icon marks the profile.
enum class IconStyle { segments, ring, badge };

template <>
struct EnumNames<IconStyle> {
  static constexpr std::array<EnumName<IconStyle>, 3> rows{
      {{IconStyle::segments, "segments"}, {IconStyle::ring, "ring"}, {IconStyle::badge, "badge"}}};
};

/// The style's name for users.
std::string_view title(IconStyle style);

/// What makes one copy of the generic proxy app the app of a profile or of a tab group: a value that whoever builds the
/// app writes into its Info.plist, and that the app reads at its start.
///
/// The member initialisers are the defaults of the JSON form. The Info.plist form has two others, on purpose: there the
/// profile name defaults to the profile directory and the icon style to `badge`.
struct StubConfig {
  /// Chrome's folder for the profile, as in its option --profile-directory.
  std::string profileDirectory;
  std::string profileName;
  /// The tab group that the app stands for; nothing for the app of a whole profile.
  std::optional<std::string> tabGroupName;
  /// A tab-group app keeps its group in a window of its own.
  bool ownWindow = true;
  /// Quitting the app closes its Chrome windows.
  bool closeOnQuit = false;
  /// These kinds of the profile's windows count as the app's.
  bool includeIncognito = true;
  bool countAppWindows = false;
  /// The symbol and the badge's colour ("#" and six hexadecimal digits) on the icon.
  std::string symbolName = "globe";
  std::string badgeColorHex = "#1F2124";
  SymbolStyle symbolStyle = SymbolStyle::auto_;
  IconStyle iconStyle = IconStyle::segments;

  /// The keys in Info.plist.
  struct PlistKey {
    static constexpr std::string_view profileDirectory = "CVNProfileDirectory";
    static constexpr std::string_view profileName = "CVNProfileName";
    static constexpr std::string_view tabGroupName = "CVNTabGroupName";
    static constexpr std::string_view ownWindow = "CVNOwnWindow";
    static constexpr std::string_view closeOnQuit = "CVNCloseOnQuit";
    static constexpr std::string_view includeIncognito = "CVNIncludeIncognito";
    static constexpr std::string_view countAppWindows = "CVNCountAppWindows";
    static constexpr std::string_view symbolName = "CVNSymbolName";
    static constexpr std::string_view badgeColor = "CVNBadgeColor";
    static constexpr std::string_view symbolStyle = "CVNSymbolStyle";
    static constexpr std::string_view iconStyle = "CVNIconStyle";
  };

  /// The given values as a valid configuration: an empty tab group name becomes none.
  static StubConfig of(StubConfig fields);

  /// From an Info.plist; nothing without a profile directory. A value that does not fit counts as absent, and is
  /// logged.
  static std::optional<StubConfig> fromPlist(const PropertyDictionary& plist);

  /// The configuration of the proxy app in that bundle: its resource "config.json" if there is one, else its
  /// Info.plist; nothing when neither gives one. Throws std::runtime_error when a file that is there cannot be read or
  /// decoded.
  static std::optional<StubConfig> load(const Bundle& bundle);

  /// `load` of the bundle that the program runs from.
  static std::optional<StubConfig> loadFromRunningBundle();

  /// The entries for a proxy app's Info.plist. The app of a whole profile has none for the tab group and its window.
  PropertyDictionary plistEntries() const;

  /// What the app stands for, in words for its user.
  std::string subject() const;

  bool isTabGroup() const { return tabGroupName && !tabGroupName->empty(); }

  bool operator==(const StubConfig&) const = default;
};

/// The JSON form. Reading throws DecodingError.
void decode(const nlohmann::json& value, StubConfig& result);
nlohmann::json encode(const StubConfig& config);

}  // namespace corvana

template <>
struct std::hash<corvana::StubConfig> {
  std::size_t operator()(const corvana::StubConfig& config) const noexcept;
};
