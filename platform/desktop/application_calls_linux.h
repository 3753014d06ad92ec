#pragma once

#include <span>
#include <string>

#include "platform/loop/session_bus_linux.h"

namespace corvana {

/// What is sent along with a call: how the user came to it ("Desktop Entry Specification" 1.5, D-Bus Activation).
struct PlatformData {
  std::string startupID;
  std::string activationToken;
  /// For a program of ours that calls in an application's name: its bundle identifier.
  std::string source;
};

/// Calls of an application's object on the session bus, org.freedesktop.Application. Calls are null where there is no
/// bus, and start no program unless told so; std::system_error when a text cannot be sent: one that is not UTF-8.
namespace applicationCalls {

constexpr const char* interface = "org.freedesktop.Application";

/// Open with these URLs, or Activate when there are none.
BusMessage open(const SessionBus& bus, const std::string& applicationID, std::span<const std::string> urls,
                const PlatformData& data);
BusMessage activateAction(const SessionBus& bus, const std::string& applicationID, const std::string& action,
                          const PlatformData& data);

/// What is left of the message is read; what has not the form that it should have is passed over.
PlatformData readPlatformData(sd_bus_message* message);

/// Whether the error says that no application has done what was asked for: there was none, none could be started, or it
/// ended first. (An application that ends answers all that it has done.)
bool sayNobodyDidIt(const sd_bus_error& error);

}  // namespace applicationCalls
}  // namespace corvana
