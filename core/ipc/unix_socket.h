#pragma once

#include <stdexcept>
#include <string>

#include "platform/process/unique_fd.h"

namespace corvana {

/// Why a socket could not be set up.
class SocketError : public std::runtime_error {
 public:
  static SocketError pathTooLong(const std::string& path);
  static SocketError syscall(const std::string& name, int error);

  /// The errno of a failed call; 0 when the path was too long.
  int error() const { return error_; }

 private:
  SocketError(const std::string& description, int error) : std::runtime_error(description), error_(error) {}

  int error_;
};

/// The socket calls that the helper and its clients need. Any thread.
struct UnixSocket {
  UnixSocket() = delete;

  /// The longest path, in bytes, on every system: macOS has room for 104 with the terminating zero.
  static constexpr std::size_t maximumPathLength = 103;

  /// A listening, non-blocking socket that only the owner can connect to. Whatever is at the path is removed before;
  /// the single-instance lock is what keeps two helpers from doing this to each other. Throws SocketError.
  static UniqueFD listen(const std::string& path, int backlog);

  /// A connected, non-blocking socket. A listener that does not accept is given a second. Throws SocketError; ENOENT
  /// and ECONNREFUSED mean that nobody listens.
  static UniqueFD connect(const std::string& path);

  /// As `connect`, and throws EACCES when another user serves the socket: in a directory that others can write to,
  /// anybody could have taken the helper's place.
  static UniqueFD connectToSameUser(const std::string& path);

  /// Makes the descriptor non-blocking, and its writes safe from SIGPIPE.
  static void setNonBlocking(int descriptor);

  /// Whether the process at the other end belongs to this user.
  static bool peerIsSameUser(int descriptor);
};

}  // namespace corvana
