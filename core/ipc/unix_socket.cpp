#include "core/ipc/unix_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/process/sockets.h"

namespace corvana {
namespace {

sockaddr_un makeAddress(const std::string& path) {
  if (path.size() > UnixSocket::maximumPathLength) throw SocketError::pathTooLong(path);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  static_assert(sizeof address.sun_path > UnixSocket::maximumPathLength);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

UniqueFD makeSocket() {
  UniqueFD descriptor = sockets::make();
  if (!descriptor) throw SocketError::syscall("socket", errno);
  return descriptor;
}

/// sockaddr_un is passed to all calls as a sockaddr, as they want it.
const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

void setSendTimeout(int descriptor, time_t seconds) {
  const timeval timeout{.tv_sec = seconds, .tv_usec = 0};
  (void)::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
}

}  // namespace

SocketError SocketError::pathTooLong(const std::string& path) {
  return {"socket path too long for sun_path: " + path, 0};
}

SocketError SocketError::syscall(const std::string& name, int error) {
  return {name + " failed: " + std::strerror(error) + " (" + std::to_string(error) + ")", error};
}

UniqueFD UnixSocket::listen(const std::string& path, int backlog) {
  (void)::unlink(path.c_str());  // usually there is nothing
  UniqueFD descriptor = makeSocket();
  const sockaddr_un address = makeAddress(path);
  if (::bind(descriptor.get(), generic(address), sizeof address) != 0) throw SocketError::syscall("bind", errno);
  (void)::chmod(path.c_str(), 0600);  // peers are checked besides
  if (::listen(descriptor.get(), backlog) != 0) throw SocketError::syscall("listen", errno);
  setNonBlocking(descriptor.get());
  return descriptor;
}

UniqueFD UnixSocket::connect(const std::string& path) {
  UniqueFD descriptor = makeSocket();
  const sockaddr_un address = makeAddress(path);
  // A helper that is stopped keeps its socket; once its backlog is full, connecting to it would wait for ever.
  setSendTimeout(descriptor.get(), 1);
  if (::connect(descriptor.get(), generic(address), sizeof address) != 0) throw SocketError::syscall("connect", errno);
  setSendTimeout(descriptor.get(), 0);
  setNonBlocking(descriptor.get());
  return descriptor;
}

UniqueFD UnixSocket::connectToSameUser(const std::string& path) {
  UniqueFD descriptor = connect(path);
  if (!peerIsSameUser(descriptor.get())) throw SocketError::syscall("connect", EACCES);
  return descriptor;
}

void UnixSocket::setNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  (void)::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
  sockets::preventSIGPIPE(descriptor);
}

bool UnixSocket::peerIsSameUser(int descriptor) {
  return sockets::peerUser(descriptor) == ::getuid();
}

}  // namespace corvana
