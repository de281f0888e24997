// Host lookup, then a connection to the first address that answers, as two waits on the caller's
// loop.
#include "tolk/ldap/ldap_connect.h"

#include <netinet/in.h>

#include <cerrno>

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

std::vector<sockaddr_in> socketAddresses(const std::vector<in_addr>& hosts, std::int32_t port) {
  std::vector<sockaddr_in> out;
  for (const in_addr& host : hosts) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr = host;
    out.push_back(address);
  }
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
      const std::vector<sockaddr_in> addresses = socketAddresses(hosts, server_.port);
      const auto limit = configuredLimit(PN::LDAP_CONNECT_TIMEOUT);
      // What discovery has waited in vain for the only address need not be waited for once more.
      connect_ = startTcpConnect(
          loop(), addresses,
          addresses.size() == 1 ? remainingLimit(Transport::tcp, addresses.front(), limit) : limit);
    } else if (connect_.done()) {
      HostPort named = server_;
      named.host = name_;
      finish(std::make_shared<LdapConnection>(connectedSocket(), named));
    }
  }
  void expire() override {}

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
