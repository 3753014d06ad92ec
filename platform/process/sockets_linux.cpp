#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

#include "platform/process/sockets.h"

namespace corvana::sockets {

UniqueFD make() {
  return UniqueFD(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

UniqueFD accept(int listener) {
  return UniqueFD(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
}

void preventSIGPIPE(int) {
  // Here it is a property of each write.
}

ssize_t write(int descriptor, std::string_view bytes) {
  const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (count >= 0 || errno != ENOTSOCK) return count;
  return ::write(descriptor, bytes.data(), bytes.size());
}

std::optional<uid_t> peerUser(int descriptor) {
  ucred credentials{};
  socklen_t length = sizeof credentials;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return std::nullopt;
  return credentials.uid;
}

}  // namespace corvana::sockets
