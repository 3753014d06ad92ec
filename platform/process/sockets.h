#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

#include "platform/process/unique_fd.h"

/// What the systems' socket calls do differently. Any thread; failures are told by errno.
namespace corvana::sockets {

/// A Unix-domain stream socket that children do not inherit.
UniqueFD make();

/// The next waiting connection of a listener, likewise.
UniqueFD accept(int listener);

/// Keeps a write to a peer that has closed from raising SIGPIPE, where that is a property of the socket.
void preventSIGPIPE(int descriptor);

/// As write(2), also for descriptors that are no sockets; a closed peer is EPIPE and no signal.
ssize_t write(int descriptor, std::string_view bytes);

/// Who is at the other end of a Unix-domain connection; nothing when the system does not tell.
std::optional<uid_t> peerUser(int descriptor);

}  // namespace corvana::sockets
