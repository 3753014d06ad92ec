#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "platform/desktop/workspace.h"
#include "platform/files/trash.h"
#include "platform/files/user_defaults.h"

namespace corvana {

/// Carries a user's data over from an earlier name of the product, once, and tells what is left of it. Data is copied:
/// the earlier folder stays until the user has the leftovers removed. Main thread; reads and copies files.
struct RenameMigration {
  RenameMigration() = delete;

  struct Outcome {
    /// How many proxy apps the earlier registry lists.
    std::int64_t registryEntries = 0;
    /// The earlier main application, if it is still there.
    std::optional<std::filesystem::path> oldCreatorPath;
    bool hasOldSupportDirectory = false;

    bool hasLeftovers() const { return oldCreatorPath || hasOldSupportDirectory; }

    bool operator==(const Outcome&) const = default;
  };

  /// Migrates unless that was done before, also with nothing to migrate; then tells what is left. What fails is logged
  /// and not tried again.
  static Outcome runIfNeeded(Workspace& workspace, UserDefaults& defaults);

  static Outcome currentState(Workspace& workspace);

  /// Moves the earlier main application, if one is given, and the earlier support folder to the trash. Throws
  /// std::runtime_error at the first that cannot be moved.
  static void removeLeftovers(const std::optional<std::filesystem::path>& oldCreator, Trash& trash);
};

}  // namespace corvana
