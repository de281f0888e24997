// getifaddrs(3) and gethostname(2).
#include "tolk/net/interfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include <algorithm>
#include <array>
#include <memory>
#include <system_error>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/net/host_query.h"
#include "tolk/net/limits.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

constexpr unsigned kOnlyUp = 1;

unsigned long ipv4(const sockaddr* address) {
  if (address == nullptr) return 0;
  sockaddr_in inet{};
  std::memcpy(&inet, address, sizeof inet);
  return inet.sin_addr.s_addr;
}

bool wanted(const ifaddrs& entry, unsigned flags, bool includeLoopback) {
  if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET) return false;
  if ((flags & kOnlyUp) != 0 && (entry.ifa_flags & IFF_UP) == 0) return false;
  return includeLoopback || (entry.ifa_flags & IFF_LOOPBACK) == 0;
}

std::string localHostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return {};
  return name.data();
}

}  // namespace

void GetIpAddresses(std::list<InterfaceDescription>& out, unsigned flags, bool includeLoopback) {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    throw IOException("getifaddrs: " + std::generic_category().message(errno), errno);
  }
  const std::unique_ptr<ifaddrs, Releaser<freeifaddrs>> owned(first);
  out.clear();
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (!wanted(*entry, flags, includeLoopback)) continue;
    const unsigned long address = ipv4(entry->ifa_addr);
    const bool known = std::any_of(
        out.begin(), out.end(), [address](const auto& other) { return other.address == address; });
    if (!known) out.push_back({entry->ifa_name, address, ipv4(entry->ifa_netmask)});
  }
}

std::optional<InterfaceDescription> addressTowards(const sockaddr_in& peer) {
  sockaddr_in own{};
  socklen_t size = sizeof own;
  try {
    const UniqueFd socket = openUdp(peer);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of getsockname(2)
    if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&own), &size) != 0) return {};
  } catch (const Base_Exception&) {
    return std::nullopt;
  }
  std::list<InterfaceDescription> all;
  GetIpAddresses(all, kOnlyUp, true);
  const auto found = std::find_if(all.begin(), all.end(), [&own](const auto& item) {
    return item.address == own.sin_addr.s_addr;
  });
  return found == all.end() ? std::nullopt : std::optional(*found);
}

std::string InetNToA(unsigned long address) {
  const in_addr binary{static_cast<in_addr_t>(address)};
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &binary, text.data(), text.size());
  return text.data();
}

std::string shortLocalHostName() {
  const std::string name = localHostName();
  return name.substr(0, name.find('.'));
}

std::string longLocalHostName() {
  std::string name = localHostName();
  if (name.find('.') != std::string::npos) return name;
  EventLoop loop;
  const HostAnswer answer =
      startHostQuery(loop, name, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)).wait();
  const bool qualified = answer.error == 0 && answer.canonicalName.find('.') != std::string::npos;
  return qualified ? answer.canonicalName : name;
}

}  // namespace tolk
