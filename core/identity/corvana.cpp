#include "core/identity/corvana.h"

#include "platform/files/files.h"
#include "platform/files/user_directories.h"
#include "platform/text/ascii.h"
#include "platform/text/uuid.h"

namespace corvana {
namespace {

constexpr std::string_view applicationSupport = "Library/Application Support";

/// The UUID's hexadecimal digits in lower case, without dashes.
std::string digitsOf(const std::string& uuid) {
  std::string digits;
  for (const char c : uuid) {
    if (c != '-') digits += ascii::lowercased(c);
  }
  return digits;
}

bool isBelow(std::string_view identifier, std::string_view prefix) {
  return identifier.starts_with(prefix) && identifier.substr(prefix.size()).starts_with('.');
}

}  // namespace

std::string PreviousIdentity::helperBundleID() const {
  return std::string(bundleIDPrefix) + ".helper";
}

std::filesystem::path PreviousIdentity::supportDirectory() const {
  return userDirectories::home() / applicationSupport / supportDirectoryName;
}

std::filesystem::path Corvana::supportDirectory() {
  return userDirectories::home() / applicationSupport / "Corvana";
}
std::filesystem::path Corvana::installedHelperURL() {
  return supportDirectory() / "CorvanaHelper.app";
}
std::filesystem::path Corvana::settingsURL() {
  return supportDirectory() / "settings.json";
}
std::filesystem::path Corvana::registryURL() {
  return supportDirectory() / "registry.json";
}
std::filesystem::path Corvana::rulesURL() {
  return supportDirectory() / "rules.json";
}
std::filesystem::path Corvana::recentLinksURL() {
  return supportDirectory() / "recent-links.json";
}
std::filesystem::path Corvana::lockURL() {
  return supportDirectory() / "h.lock";
}

std::string Corvana::socketPath() {
  // A socket address holds 104 bytes on macOS and 108 on Linux, the terminating zero included; the short file names and
  // this limit keep well inside of both, and the same on both.
  constexpr std::size_t limit = 100;
  std::string path = (supportDirectory() / "h.sock").string();
  return path.size() < limit ? path : (userDirectories::temporary() / "corvana-h.sock").string();
}

void Corvana::ensureSupportDirectory() {
  files::createPrivateDirectories(supportDirectory());
}

bool Corvana::isOurBundleID(std::string_view bundleID) {
  if (isBelow(bundleID, bundleIDPrefix)) return true;
  for (const PreviousIdentity& identity : previousIdentities) {
    if (isBelow(bundleID, identity.bundleIDPrefix)) return true;
  }
  return false;
}

std::optional<PreviousIdentity> Corvana::identityToMigrateFrom() {
  for (const PreviousIdentity& identity : previousIdentities) {
    std::error_code ignored;
    if (std::filesystem::exists(identity.supportDirectory(), ignored)) return identity;
  }
  return std::nullopt;
}

std::string Corvana::newBundleID(const std::set<std::string>& taken) {
  return newBundleID(taken, &randomUUID);
}

std::string Corvana::newBundleID(const std::set<std::string>& taken, const std::function<std::string()>& makeUUID) {
  constexpr int attempts = 64;
  constexpr std::size_t shortLength = 12;
  const std::string prefix = std::string(bundleIDPrefix) + ".";
  for (int i = 0; i < attempts; ++i) {
    std::string candidate = prefix + digitsOf(makeUUID()).substr(0, shortLength);
    if (!taken.contains(candidate)) return candidate;
  }
  return prefix + digitsOf(makeUUID());
}

}  // namespace corvana
