#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/process/sockets.h"

namespace corvana::sockets {
namespace {

/// There is no call that does both at once; a child that is started in between inherits the descriptor.
UniqueFD closeOnExec(int descriptor) {
  if (descriptor >= 0) (void)::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return UniqueFD(descriptor);
}

}  // namespace

UniqueFD make() {
  return closeOnExec(::socket(AF_UNIX, SOCK_STREAM, 0));
}

UniqueFD accept(int listener) {
  return closeOnExec(::accept(listener, nullptr, nullptr));
}

void preventSIGPIPE(int descriptor) {
  const int on = 1;
  (void)::setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
}

ssize_t write(int descriptor, std::string_view bytes) {
  return ::write(descriptor, bytes.data(), bytes.size());
}

std::optional<uid_t> peerUser(int descriptor) {
  uid_t user = 0;
  gid_t group = 0;
  if (::getpeereid(descriptor, &user, &group) != 0) return std::nullopt;
  return user;
}

}  // namespace corvana::sockets
