#include "helper/profile_list.h"

#include "core/identity/document_file.h"
#include "core/identity/log.h"

namespace corvana {

bool ProfileList::reloadIfChanged() {
  const auto date = files::modificationDate(localState_);
  if (date == date_) return false;
  date_ = date;
  std::vector<ChromeProfile> profiles;
  std::string problem;
  try {
    if (date) profiles = ChromeProfiles::parseOrThrow(files::read(localState_, DocumentFile::maximumBytes));
  } catch (const std::filesystem::filesystem_error& error) {
    problem = error.what();
  } catch (const ChromeProfiles::DuplicateProfile& error) {
    problem = localState_.string() + ": " + error.what();
  }
  if (!problem.empty()) {
    if (problem != problem_) Log::helper.error("Chrome's list of profiles cannot be used: ", problem);
    problem_ = std::move(problem);
    return false;
  }
  problem_.clear();
  if (profiles == profiles_) return false;
  profiles_ = std::move(profiles);
  return true;
}

}  // namespace corvana
