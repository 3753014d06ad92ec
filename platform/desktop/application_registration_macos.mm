#include "platform/desktop/application_registration_macos.h"

#include <stdexcept>
#include <string>

#import <CoreServices/CoreServices.h>

#include "platform/files/file_url_macos.h"

namespace corvana {

void ApplicationRegistrationMacOS::add(const std::filesystem::path& bundle, const std::string&,
                                       const std::vector<MenuItem>&) {
  NSURL* url = fileURLFrom(bundle, YES);
  if (url == nil) throw std::runtime_error("no application is named");
  // Also when the bundle's date has not moved, as after its Info.plist alone has been written anew.
  constexpr Boolean update = true;
  const OSStatus status = LSRegisterURL((__bridge CFURLRef)url, update);
  if (status == noErr) return;
  throw std::runtime_error(bundle.string() + ": cannot be registered with Launch Services (" + std::to_string(status) +
                           ")");
}

void ApplicationRegistrationMacOS::addBrowser(const std::filesystem::path& bundle, const std::string& description) {
  add(bundle, description, {});
}

void ApplicationRegistrationMacOS::remove(std::string_view) {}

}  // namespace corvana
