#pragma once

#include <string>
#include <string_view>

namespace corvana {

/// By what the desktop knows an application with that bundle identifier: the name of its desktop entry and its name on
/// the session bus, where no element may begin with a digit ("D-Bus Specification", Message Protocol/Bus Names; the
/// underscore is the "Desktop Entry Specification"'s advice).
std::string applicationID(std::string_view bundleIdentifier);

/// Where it has its object on the bus ("Desktop Entry Specification" 1.5, D-Bus Activation).
std::string objectPath(std::string_view applicationID);

}  // namespace corvana
