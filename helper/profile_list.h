#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/browsers/chrome_profiles.h"
#include "platform/files/files.h"

namespace corvana {

/// Chrome's profiles, as its state file had them last. A state file that cannot be used, which would end a program that
/// reads it, is told once and changes nothing. One thread.
class ProfileList {
 public:
  explicit ProfileList(std::filesystem::path localState) : localState_(std::move(localState)) {}

  /// Reads the file again if its date has moved. Whether the profiles have changed.
  bool reloadIfChanged();
  const std::vector<ChromeProfile>& profiles() const { return profiles_; }
  /// What is wrong with the file, for people; empty when nothing is.
  const std::string& problem() const { return problem_; }

 private:
  std::filesystem::path localState_;
  std::optional<files::ModificationDate> date_;
  std::vector<ChromeProfile> profiles_;
  std::string problem_;
};

}  // namespace corvana
