// The socket calls that probes and queries share: non-blocking, close-on-exec, with errno values as
// results.
#pragma once

#include <netinet/in.h>

#include <string>

#include "tolk/base/handle.h"

namespace tolk {

/// Starts a TCP connection. `error` becomes 0 when it stands already, EINPROGRESS when it is under
/// way, else what failed.
UniqueFd beginConnect(const sockaddr_in& address, int& error);

/// How a connection under way ended, once its descriptor is writable; 0 when it stands.
int connectError(int fd);

/// A UDP socket with this peer only. Throws as throwUnreachable().
UniqueFd openUdp(const sockaddr_in& address);

/// What the errno of a failed exchange means: the peer has spoken (it refuses, or hangs up), or
/// nothing was heard of it, or this host has not even asked.
enum class Failing { peer, silence, here };
Failing failingSide(int error) noexcept;

/// Address and reason: "10.0.0.1:389: No route to host"; for what this host has failed to do,
/// "10.0.0.1:389 was not asked: Too many open files on this host".
std::string failureText(const sockaddr_in& address, int error);

/// Throws failureText(): IOException when the peer has spoken, else TimeoutException.
[[noreturn]] void throwUnreachable(const sockaddr_in& address, int error);

/// "10.0.0.1:389"
std::string addressText(const sockaddr_in& address);

/// The same address with `port` where it has none.
sockaddr_in withDefaultPort(sockaddr_in address, in_port_t port);

/// A sockaddr_in for an address and a port.
sockaddr_in socketAddress(in_addr address, in_port_t port);

}  // namespace tolk
