// Chrome's state file: any text gives profiles, each of which can be shown. (A profile that is listed twice ends the
// process on purpose; such texts are passed over.)
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "core/browsers/chrome_profiles.h"

namespace {

bool listsOneTwice(std::string_view text) {
  const auto document = nlohmann::json::parse(text, nullptr, false);
  if (!document.is_object() || !document.contains("profile") || !document["profile"].is_object()) return false;
  const auto order = document["profile"].find("profiles_order");
  if (order == document["profile"].end() || !order->is_array()) return false;
  std::set<std::string> seen;
  for (const auto& directory : *order) {
    if (directory.is_string() && !seen.insert(directory.get<std::string>()).second) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvana;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (listsOneTwice(text)) return 0;
  for (const ChromeProfile& profile : ChromeProfiles::parse(text)) {
    if (profile.titleIdentities().empty()) std::abort();
  }
  return 0;
}
