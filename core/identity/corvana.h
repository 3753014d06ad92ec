#pragma once

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace corvana {

/// One of the names that the product had before.
struct PreviousIdentity {
  std::string_view bundleIDPrefix;
  std::string_view creatorBundleID;
  /// Its folder below "Library/Application Support".
  std::string_view supportDirectoryName;
  std::string_view helperAppName;
  /// The executable inside its proxy apps, in Contents/MacOS.
  std::string_view stubExecutableName;
  std::string_view creatorAppName;

  std::string helperBundleID() const;
  std::filesystem::path supportDirectory() const;
};

/// The identifiers and file locations that every program of the product agrees on.
/// Locations follow the current user's home directory on every call and do not say that anything exists there.
/// Any thread.
struct Corvana {
  Corvana() = delete;

  static constexpr std::string_view bundleIDPrefix = "app.corvana";
  static constexpr std::string_view helperBundleID = "app.corvana.helper";
  static constexpr std::string_view creatorBundleID = "app.corvana.main";
  static constexpr std::string_view chromeBundleID = "com.google.Chrome";
  static constexpr std::string_view logSubsystem = "app.corvana";
  /// Where the helper and the proxy-app template lie inside the main application's bundle.
  static constexpr std::string_view helperInBundle = "Contents/Library/CorvanaHelper.app";
  static constexpr std::string_view stubTemplateInBundle = "Contents/Library/StubTemplate.app";

  static std::filesystem::path supportDirectory();
  /// The helper runs from here, wherever the main application is moved.
  static std::filesystem::path installedHelperURL();
  static std::filesystem::path settingsURL();
  static std::filesystem::path registryURL();
  static std::filesystem::path rulesURL();
  static std::filesystem::path recentLinksURL();
  static std::filesystem::path lockURL();
  /// The helper's socket: in the support directory, or in the user's temporary directory where that path would come
  /// near the limit of a socket address.
  static std::string socketPath();

  /// Creates the support directory, for the user alone, unless it is there. Throws std::filesystem::filesystem_error.
  static void ensureSupportDirectory();

  /// Whether the identifier belongs to the product, under its present name or an earlier one.
  static bool isOurBundleID(std::string_view bundleID);

  /// The newest first.
  static constexpr std::array<PreviousIdentity, 2> previousIdentities{{
      {"org.halvory.mirrowen", "org.halvory.mirrowen.creator", "Mirrowen", "MirrowenHelper.app", "MirrowenStub",
       "Mirrowen.app"},
      {"org.halvory.plenvel", "org.halvory.plenvel.creator", "PlenvelApps", "PlenvelHelper.app", "PlenvelStub",
       "Plenvel Apps.app"},
  }};

  /// The newest earlier identity of which a support directory is left.
  static std::optional<PreviousIdentity> identityToMigrateFrom();

  /// The name as a lower-case token: letters and numbers of any script, with single dashes in place of all else.
  static std::string slug(std::string_view name);

  /// A fresh identifier for a proxy app that is not in `taken`. `makeUUID` gives canonical upper-case UUIDs.
  static std::string newBundleID(const std::set<std::string>& taken);
  static std::string newBundleID(const std::set<std::string>& taken, const std::function<std::string()>& makeUUID);
};

}  // namespace corvana
