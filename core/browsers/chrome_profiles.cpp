#include "core/browsers/chrome_profiles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>

#include "core/identity/document_file.h"
#include "core/identity/field_hasher.h"
#include "core/identity/json_coding.h"
#include "platform/files/files.h"
#include "platform/text/text.h"

namespace corvana {
namespace {

using nlohmann::json;

/// The member, if there is one of that type.
template <class T>
std::optional<T> member(const json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) return std::nullopt;
  try {
    T value;
    decode(*found, value);
    return value;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

/// Null when there is none.
const json* objectUnder(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_object() ? &*found : nullptr;
}

ChromeProfile profileFrom(const std::string& directory, const json& entry) {
  return {.directory = directory,
          .name = member<std::string>(entry, "name").value_or(directory),
          .userName = member<std::string>(entry, "user_name").value_or(""),
          .gaiaName = member<std::string>(entry, "gaia_name").value_or(""),
          .gaiaGivenName = member<std::string>(entry, "gaia_given_name").value_or(""),
          .highlightColor = member<std::int64_t>(entry, "profile_highlight_color")};
}

/// From a directory to its place. A list that names one twice is none that Chrome has written, and whatever were made
/// of it could open the wrong profile.
std::map<std::string, std::size_t> placesIn(const std::vector<std::string>& order) {
  std::map<std::string, std::size_t> places;
  for (const std::string& directory : order) {
    if (!places.try_emplace(directory, places.size()).second) throw ChromeProfiles::DuplicateProfile(directory);
  }
  return places;
}

void sort(std::vector<ChromeProfile>& profiles, const std::vector<std::string>& order) {
  const auto places = placesIn(order);
  const auto placeOf = [&places](const ChromeProfile& profile) {
    const auto found = places.find(profile.directory);
    return found == places.end() ? std::numeric_limits<std::size_t>::max() : found->second;
  };
  std::ranges::stable_sort(profiles, [&](const ChromeProfile& a, const ChromeProfile& b) {
    if (placeOf(a) != placeOf(b)) return placeOf(a) < placeOf(b);
    return a.name < b.name;  // in UTF-8 the order of bytes is that of code points
  });
}

}  // namespace

std::vector<std::string> ChromeProfile::titleIdentities() const {
  std::vector<std::string> identities;
  const auto add = [&identities](const std::string& text) {
    if (std::ranges::count(identities, text) == 0) identities.push_back(text);
  };
  if (!gaiaGivenName.empty()) add(gaiaGivenName + " (" + name + ")");
  if (!gaiaName.empty()) {
    add(gaiaName + " (" + name + ")");
    add(gaiaName);
  }
  add(name);
  if (!userName.empty()) add(userName);
  std::ranges::stable_sort(identities, std::ranges::greater(),
                           [](const std::string& text) { return text::characters(text).size(); });
  return identities;
}

std::filesystem::path ChromeProfiles::localStateURL(const std::filesystem::path& userDataDirectory) {
  return userDataDirectory / "Local State";
}

std::vector<ChromeProfile> ChromeProfiles::load(const std::filesystem::path& localState) {
  try {
    return parse(files::read(localState, DocumentFile::maximumBytes));
  } catch (const std::filesystem::filesystem_error&) {
    return {};
  }
}

std::vector<ChromeProfile> ChromeProfiles::parse(std::string_view localState) {
  try {
    return parseOrThrow(localState);
  } catch (const DuplicateProfile& error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::abort();
  }
}

std::vector<ChromeProfile> ChromeProfiles::parseOrThrow(std::string_view localState) {
  json document;
  try {
    document = parseJSON(localState);
  } catch (const DecodingError&) {
    return {};
  }
  const json* profile = document.is_object() ? objectUnder(document, "profile") : nullptr;
  const json* cache = profile != nullptr ? objectUnder(*profile, "info_cache") : nullptr;
  if (cache == nullptr) return {};

  std::vector<ChromeProfile> profiles;
  for (const auto& [directory, entry] : cache->items()) {
    if (entry.is_object()) profiles.push_back(profileFrom(directory, entry));
  }
  if (const auto order = member<std::vector<std::string>>(*profile, "profiles_order")) {
    sort(profiles, *order);
  } else {
    std::ranges::stable_sort(profiles, [](const ChromeProfile& a, const ChromeProfile& b) {
      return text::compareStandard(a.name, b.name) < 0;
    });
  }
  return profiles;
}

}  // namespace corvana

std::size_t std::hash<corvana::ChromeProfile>::operator()(const corvana::ChromeProfile& profile) const noexcept {
  corvana::FieldHasher hasher;
  for (const std::string& field :
       {profile.directory, profile.name, profile.userName, profile.gaiaName, profile.gaiaGivenName}) {
    hasher.add(field);
  }
  hasher.add(profile.highlightColor);
  return hasher.value();
}
