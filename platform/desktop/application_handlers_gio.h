#pragma once

#include "platform/desktop/application_handlers.h"
#include "platform/loop/scheduler.h"

namespace corvana {

/// The desktop's registry of handlers (freedesktop.org, "Association between MIME types and applications" 1.0), by GIO.
/// Applications are desktop entries, and also the bundles of our own that have one.
class ApplicationHandlersGIO final : public ApplicationHandlers {
 public:
  /// Completions run on the scheduler's thread; it must outlive this object.
  explicit ApplicationHandlersGIO(Scheduler& scheduler) : scheduler_(scheduler) {}

  /// Without applications that are hidden from users, and with a known browser once, by the entry in use: some packages
  /// come with a hidden second one, and a package and a Flatpak of one browser may both be installed.
  std::vector<std::filesystem::path> applications(const Handled& handled) override;
  std::optional<std::filesystem::path> defaultApplication(const Handled& handled) override;
  void setDefaultApplication(const std::filesystem::path& application, const Handled& handled,
                             Completion completion) override;
  std::optional<ApplicationInfo> info(const std::filesystem::path& application) override;

 private:
  Scheduler& scheduler_;
};

/// Writes down which application opens links and the files of browsers now, as the user's choice. Without one the
/// desktop would prefer whichever comes to be installed in the user's own folder.
void keepDefaultBrowser();

}  // namespace corvana
