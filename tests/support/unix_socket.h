// Sockets of the local domain, at a path.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "tolk/base/handle.h"

namespace joinscope::test {

/// A socket of this kind that `act`, ::bind or ::connect, has given the path as its address. Throws
/// std::system_error.
template <typename Act>
tolk::UniqueFd unixSocket(const Act& act, const std::string& path, int kind = SOCK_STREAM) {
  tolk::UniqueFd socket(::socket(AF_UNIX, kind | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (act(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return socket;
}

/// A listening one. Throws std::system_error.
inline tolk::UniqueFd listenAt(const std::string& path, int backlog = 16) {
  tolk::UniqueFd socket = unixSocket(::bind, path);
  if (::listen(socket.get(), backlog) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return socket;
}

}  // namespace joinscope::test
