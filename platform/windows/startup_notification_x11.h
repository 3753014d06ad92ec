#pragma once

#include <string>

namespace corvana {

/// Tells the desktop that the start which it announced by that start-up ID is over, for programs that show no window of
/// their own; until then it shows that it is busy ("Startup Notification Protocol" 0.1, freedesktop.org). Does nothing
/// without an X server. Main thread; asks the X server.
void endStartupNotification(const std::string& startupID);

}  // namespace corvana
