// Errors are sorted by side: silence, the peer, or this host.
#include "tolk/net/sockets.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>

#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/net/interfaces.h"

namespace tolk {
namespace {

int connectTo(int fd, const sockaddr_in& address) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of connect(2)
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return ::connect(fd, generic, sizeof address) == 0 ? 0 : errno;
}

}  // namespace

UniqueFd beginConnect(const sockaddr_in& address, int& error) {
  UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  error = fd ? connectTo(fd.get(), address) : errno;
  return fd;
}

int connectError(int fd) {
  int error = 0;
  socklen_t size = sizeof error;
  if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
  return error;
}

UniqueFd openUdp(const sockaddr_in& address) {
  UniqueFd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const int error = fd ? connectTo(fd.get(), address) : errno;
  if (error != 0) throwUnreachable(address, error);
  return fd;
}

Failing failingSide(int error) noexcept {
  switch (error) {
    case EHOSTUNREACH:
    case ENETUNREACH:
    case EHOSTDOWN:
    case ENETDOWN:
    case ETIMEDOUT:
    case ETIME:
      return Failing::silence;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
    case EADDRNOTAVAIL:  // no local port is free
    case EPERM:          // this host's own packet filter
    case EACCES:
      return Failing::here;
    default:
      return Failing::peer;
  }
}

std::string failureText(const sockaddr_in& address, int error) {
  const std::string reason = std::generic_category().message(error);
  if (failingSide(error) != Failing::here) return addressText(address) + ": " + reason;
  return addressText(address) + " was not asked: " + reason + " on this host";
}

void throwUnreachable(const sockaddr_in& address, int error) {
  const std::string message = failureText(address, error);
  if (failingSide(error) == Failing::peer) throw IOException(message, error);
  throw TimeoutException(message, error);
}

std::string addressText(const sockaddr_in& address) {
  return InetNToA(address.sin_addr.s_addr) + ':' + std::to_string(ntohs(address.sin_port));
}

sockaddr_in withDefaultPort(sockaddr_in address, in_port_t port) {
  if (address.sin_port == 0) address.sin_port = htons(port);
  return address;
}

sockaddr_in socketAddress(in_addr address, in_port_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr = address;
  result.sin_port = htons(port);
  return result;
}

}  // namespace tolk
