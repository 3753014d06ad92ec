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

 private:
  std::optional<files::ModificationDate> date_;
  std::map<std::string, std::string, std::less<>> profiles_;
};

}  // namespace corvana
