// Host lookup, then a connection to the first address that answers, as two waits on the caller's
// loop.
#include "tolk/ldap/ldap_connect.h"

#include <netinet/in.h>

#include <cerrno>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tolk/ldap/ldap_error.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"
#include "tolk/net/ldap_silence.h"
#include "tolk/net/operation.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

// Those that have been silent last.
std::vector<sockaddr_in> socketAddresses(const std::vector<in_addr>& hosts, std::int32_t port) {
  std::vector<sockaddr_in> out;
  out.reserve(hosts.size());
  for (const in_addr& host : hosts) {
    out.push_back(socketAddress(host, static_cast<in_port_t>(port)));
  }
  std::ranges::stable_sort(
      out, {}, [](const sockaddr_in& address) { return knownSilence(Transport::tcp, address); });
  return out;
}

// Two waits of the same loop one after the other; each has its own descriptors and deadline there.
class LdapConnectTask final : public Task<std::shared_ptr<LdapConnection>> {
 public:
  LdapConnectTask(EventLoop& loop, const HostPort& server, const std::string& name)
      : Task(loop, Clock::time_point::max()),
        server_(server),
        name_(name.empty() ? server.host : name),
        lookup_(startHostLookup(loop, server_.host)) {}

 private:
  void watch(std::vector<pollfd>& /*out*/) override {}
  Clock::time_point wakeAt() override {
    return lookup_.done() || connect_.done() ? Clock::time_point::min() : Clock::time_point::max();
  }
  void advance(std::span<const pollfd> /*ready*/) override {
    if (lookup_.done()) {
      const std::vector<in_addr> hosts = lookup_.wait();
      if (hosts.empty()) throw cannotContact(serverText(server_), "the host name has no address");
      connect(socketAddresses(hosts, server_.port));
    } else if (connect_.done()) {
      HostPort named = server_;
      named.host = name_;
      auto connection = std::make_shared<LdapConnection>(connectedSocket(), named);
      if (first_ && connection->peer().sin_addr.s_addr == firstHost_) first_->heard();
      finish(std::move(connection));
    }
  }
  void expire() override {}

  void connect(const std::vector<sockaddr_in>& addresses) {
    const sockaddr_in& first = addresses.front();
    auto limit = configuredLimit(PN::LDAP_CONNECT_TIMEOUT);
    if (addresses.size() > 1) {
      // The next connection of this run shall not wait for it again.
      first_.emplace(Transport::tcp, first);
      firstHost_ = first.sin_addr.s_addr;
    } else {
      // What discovery has waited in vain for the only address need not be waited for once more.
      limit = remainingLimit(Transport::tcp, first, limit);
    }
    connect_ = startTcpConnect(loop(), addresses, limit);
  }

  UniqueFd connectedSocket() {
    try {
      return connect_.wait();
    } catch (const TimeoutException& failure) {
      if (failingSide(failure.code()) == Failing::here) {
        throw LDAPException(ldapMessage(LDAP_LOCAL_ERROR, serverText(server_), failure.what()),
                            LDAP_LOCAL_ERROR);
      }
      std::string reason = failure.what();
      if (failure.code() == ETIMEDOUT) reason += " (" + limitSource(PN::LDAP_CONNECT_TIMEOUT) + ")";
      throw cannotContact(serverText(server_), reason);
    } catch (const IOException& failure) {
      throw cannotContact(serverText(server_), failure.what());
    }
  }

  HostPort server_;
  std::string name_;
  Pending<std::vector<in_addr>> lookup_;
  Pending<UniqueFd> connect_;
  std::optional<SilenceWatch> first_;  // the first of several addresses
  in_addr_t firstHost_ = 0;
};

}  // namespace

Pending<std::shared_ptr<LdapConnection>> startLdapConnect(EventLoop& loop, const HostPort& server,
                                                          const std::string& name) {
  return startTask<LdapConnectTask>(loop, server, name);
}

std::shared_ptr<LdapConnection> LdapConnection::open(const HostPort& server,
                                                     const std::string& name) {
  EventLoop loop;
  return startLdapConnect(loop, server, name).wait();
}

}  // namespace tolk
