#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace corvana {

/// Who launches programs here, and for which of the user's actions: it lets their windows come to the front and be told
/// apart. One for each program; main thread.
class LaunchContext {
 public:
  /// `application` is the launching application's bundle identifier. What the program was started with itself is taken
  /// from the environment.
  explicit LaunchContext(std::string application);

  /// The user has just done something that this program acts upon. Whoever told so may have handed over a start-up ID
  /// ("Startup Notification Protocol" 0.1, freedesktop.org) and an activation token ("XDG Activation" of Wayland); both
  /// may be empty.
  void userActed(std::string startupID, std::string activationToken);

  /// What the start-up IDs of all programs launched here begin with.
  std::string startupIDPrefix() const;

  /// What was handed over last, for one who is told of the same action; the token may have served.
  const std::string& startupID() const { return startupID_; }
  const std::string& activationToken() const { return activationToken_; }

  /// When the user did what was done last, in milliseconds of the X server: its clock is the monotonic one.
  std::uint32_t userTime() const { return userTime_; }

  /// What one launched program is told: a start-up ID of its own, which Chrome's windows then carry, and the token,
  /// which serves only once. As "NAME=value".
  std::vector<std::string> environment();

 private:
  std::string application_;
  std::uint32_t userTime_ = 0;
  std::string startupID_;
  std::string activationToken_;
  int launches_ = 0;
};

}  // namespace corvana
