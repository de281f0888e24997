// One service location, as DNS SRV records (RFC 2782) and the configuration name them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tolk {

/// A host and port. Two are the same when host bytes and port agree.
struct HostPort {
  static constexpr std::int32_t NO_PORT = -1;  ///< no port is known

  std::string host;  ///< in lower case, without a final dot, DNS escapes (\. and \DDD) kept
  std::string text;  ///< free for the maker; the lookups leave it empty
  std::int32_t port = NO_PORT;
  std::uint16_t priority = 0;  ///< lower is asked first
  std::uint16_t weight = 0;    ///< larger is asked more often among equal priorities

  friend bool operator==(const HostPort& left, const HostPort& right) noexcept {
    return left.port == right.port && left.host == right.host;
  }
};

using HostPortList = std::vector<HostPort>;

}  // namespace tolk
