#include "core/stub/stub_config.h"

#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"
#include "core/identity/log.h"
#include "platform/desktop/running_bundle.h"
#include "platform/files/files.h"

namespace corvana {
namespace {

/// Every field with its JSON key, in the order of declaration.
template <class Config, class Visitor>
void fields(Config& config, Visitor& visitor) {
  visitor.required("profileDirectory", config.profileDirectory);
  visitor.defaulted("profileName", config.profileName);
  visitor.optional("tabGroupName", config.tabGroupName);
  visitor.defaulted("ownWindow", config.ownWindow);
  visitor.defaulted("closeOnQuit", config.closeOnQuit);
  visitor.defaulted("includeIncognito", config.includeIncognito);
  visitor.defaulted("countAppWindows", config.countAppWindows);
  visitor.defaulted("symbolName", config.symbolName);
  visitor.defaulted("badgeColorHex", config.badgeColorHex);
  visitor.defaulted("symbolStyle", config.symbolStyle);
  visitor.defaulted("iconStyle", config.iconStyle);
}

/// Takes a value of type T from the property list; one of another type stays out and is logged.
template <class T>
void take(const PropertyDictionary& plist, std::string_view key, const char* expected, T& field) {
  if (const T* value = find<T>(plist, key)) {
    field = *value;
  } else if (plist.contains(key)) {
    Log::stub.notice("Info.plist: ", key, ": expected ", expected, "; using the default");
  }
}

template <class Enum>
requires std::is_enum_v<Enum>
void take(const PropertyDictionary& plist, std::string_view key, Enum& field) {
  std::string name(nameOf(field));
  take(plist, key, "a string", name);
  if (const auto value = caseNamed<Enum>(name)) {
    field = *value;
  } else {
    Log::stub.notice("Info.plist: ", key, ": \"", name, "\" is none of ", allNames<Enum>(), "; using ", nameOf(field));
  }
}

}  // namespace

std::string_view title(IconStyle style) {
  switch (style) {
    case IconStyle::segments:
      return "Segments";
    case IconStyle::ring:
      return "Ring";
    case IconStyle::badge:
      return "Corner badge";
  }
  return {};
}

StubConfig StubConfig::of(StubConfig fields) {
  if (!fields.isTabGroup()) fields.tabGroupName.reset();
  return fields;
}

std::optional<StubConfig> StubConfig::fromPlist(const PropertyDictionary& plist) {
  const auto* directory = find<std::string>(plist, PlistKey::profileDirectory);
  if (directory == nullptr) return std::nullopt;

  StubConfig config{.profileDirectory = *directory, .profileName = *directory, .iconStyle = IconStyle::badge};
  take(plist, PlistKey::profileName, "a string", config.profileName);
  take(plist, PlistKey::tabGroupName, "a string", config.tabGroupName.emplace());
  take(plist, PlistKey::ownWindow, "a boolean", config.ownWindow);
  take(plist, PlistKey::closeOnQuit, "a boolean", config.closeOnQuit);
  take(plist, PlistKey::includeIncognito, "a boolean", config.includeIncognito);
  take(plist, PlistKey::countAppWindows, "a boolean", config.countAppWindows);
  take(plist, PlistKey::symbolName, "a string", config.symbolName);
  take(plist, PlistKey::badgeColor, "a string", config.badgeColorHex);
  take(plist, PlistKey::symbolStyle, config.symbolStyle);
  take(plist, PlistKey::iconStyle, config.iconStyle);
  return of(std::move(config));
}

std::optional<StubConfig> StubConfig::load(const Bundle& bundle) {
  if (const auto file = bundle.resource("config", "json")) {
    constexpr std::size_t maximumBytes = 1 << 20;
    try {
      StubConfig config;
      decode(parseJSON(files::read(*file, maximumBytes)), config);
      return config;
    } catch (const DecodingError& error) {
      throw std::runtime_error(file->string() + ": " + error.what());
    }
  }
  const auto plist = bundle.infoDictionary();
  return plist ? fromPlist(*plist) : std::nullopt;
}

std::optional<StubConfig> StubConfig::loadFromRunningBundle() {
  return load(Bundle{runningBundlePath()});
}

std::string StubConfig::subject() const {
  const std::string profile = "the Chrome profile “" + profileName + "”";
  return isTabGroup() ? "the tab group “" + *tabGroupName + "” in " + profile : profile;
}

PropertyDictionary StubConfig::plistEntries() const {
  PropertyDictionary entries;
  const auto put = [&entries](std::string_view key, auto value) {
    entries.emplace(key, PropertyValue{std::move(value)});
  };
  put(PlistKey::profileDirectory, profileDirectory);
  put(PlistKey::profileName, profileName);
  put(PlistKey::closeOnQuit, closeOnQuit);
  put(PlistKey::includeIncognito, includeIncognito);
  put(PlistKey::countAppWindows, countAppWindows);
  put(PlistKey::symbolName, symbolName);
  put(PlistKey::badgeColor, badgeColorHex);
  put(PlistKey::symbolStyle, std::string(nameOf(symbolStyle)));
  put(PlistKey::iconStyle, std::string(nameOf(iconStyle)));
  if (tabGroupName) {
    put(PlistKey::tabGroupName, *tabGroupName);
    put(PlistKey::ownWindow, ownWindow);
  }
  return entries;
}

void decode(const nlohmann::json& value, StubConfig& result) {
  StubConfig config;
  FieldReader reader(value);
  fields(config, reader);
  result = StubConfig::of(std::move(config));
}

nlohmann::json encode(const StubConfig& config) {
  FieldWriter writer;
  fields(config, writer);
  return writer.take();
}

}  // namespace corvana

std::size_t std::hash<corvana::StubConfig>::operator()(const corvana::StubConfig& config) const noexcept {
  corvana::FieldHasher hasher;
  corvana::fields(config, hasher);
  return hasher.value();
}
