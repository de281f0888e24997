// The C library parses the file (res_ninit(3)); only its results are copied.
#include "tolk/net/resolver_settings.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <array>
#include <memory>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace tolk {
namespace {

using State = struct __res_state;  // the name is a function's too

template <typename Address>
std::string textOf(int family, const Address& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  inet_ntop(family, &address, text.data(), text.size());
  return text.data();
}

// An IPv6 server has no family in the list of IPv4 servers and an entry beside it (resolver(3)).
std::string serverAt(const State& state, int index) {
  const sockaddr_in& four = state.nsaddr_list[index];
  if (four.sin_family == AF_INET) return textOf(AF_INET, four.sin_addr);
  const sockaddr_in6* six = state._u._ext.nsaddrs[index];
  return six == nullptr ? std::string() : textOf(AF_INET6, six->sin6_addr);
}

}  // namespace

ResolverSettings readResolverSettings() {
  State state{};
  if (res_ninit(&state) != 0) throw DNSUnavailableException("/etc/resolv.conf cannot be read");
  const std::unique_ptr<State, Releaser<res_nclose>> owned(&state);
  ResolverSettings settings;
  for (int i = 0; i < state.nscount; ++i) {
    std::string server = serverAt(state, i);
    if (!server.empty()) settings.servers.push_back(std::move(server));
  }
  for (char** domain = state.dnsrch; *domain != nullptr; ++domain) {
    settings.searchDomains.emplace_back(*domain);
  }
  settings.ndots = static_cast<int>(state.ndots);
  settings.timeout = std::chrono::seconds(std::max(state.retrans, 1));
  settings.attempts = std::max(state.retry, 1);
  settings.rotate = (state.options & RES_ROTATE) != 0;
  return settings;
}

}  // namespace tolk
