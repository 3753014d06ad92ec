#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/files.h"

namespace corvana {

/// Which profile each built proxy app stands for, by the registry, which is read again when its date has moved. One
/// thread.
class AppDirectory {
 public:
  /// The folder of the app's profile; nothing for what is no proxy app.
  std::optional<std::string> profileOf(std::string_view bundleID);
  /// The first app that was registered for all windows of the profile.
  std::optional<std::string> appOf(std::string_view profileDirectory);

 private:
  void reloadIfChanged();

  std::optional<files::ModificationDate> date_;
  std::map<std::string, std::string, std::less<>> profiles_;
  std::map<std::string, std::string, std::less<>> apps_;
};

}  // namespace corvana
