#pragma once

#include "platform/desktop/application_handlers.h"

namespace corvana {

/// The handlers as Launch Services keeps them for the logged-in user. Content types are known by their uniform type
/// identifiers; one that no application has declared has no handlers. Completions are called on the main queue, so that
/// who waits for one must serve the main run loop meanwhile.
class ApplicationHandlersMacOS final : public ApplicationHandlers {
 public:
  std::vector<std::filesystem::path> applications(const Handled& handled) override;
  std::optional<std::filesystem::path> defaultApplication(const Handled& handled) override;

  /// For web links the system asks the user, and the completion waits for the answer.
  void setDefaultApplication(const std::filesystem::path& application, const Handled& handled,
                             Completion completion) override;

  /// Names are in the user's language where the application has them.
  std::optional<ApplicationInfo> info(const std::filesystem::path& application) override;
};

}  // namespace corvana
