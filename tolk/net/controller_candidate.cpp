#include "tolk/net/controller_candidate.h"

#include <algorithm>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

constexpr in_port_t kLdapPort = 389;
constexpr std::int32_t kGlobalCatalogPort = 3268;

// Pings go to the LDAP port also where the record is that of a global catalog.
in_port_t ldapPort(const HostPort& server) {
  const bool other = server.port > 0 && server.port <= 65535 && server.port != kGlobalCatalogPort;
  return other ? static_cast<in_port_t>(server.port) : kLdapPort;
}

}  // namespace

ControllerCandidate::ControllerCandidate(HostPort server, Clock::time_point start)
    : startAt(start), server_(std::move(server)) {}

bool ControllerCandidate::inSite(const std::string& site) const {
  return std::any_of(sites_.begin(), sites_.end(),
                     [&site](const std::string& known) { return equalsIgnoringCase(known, site); });
}

void ControllerCandidate::startLookup(EventLoop& loop) {
  started_ = true;
  lookup_ = startHostLookup(loop, server_.host);
}

void ControllerCandidate::startPing(EventLoop& loop, const std::string& domain,
                                    std::chrono::milliseconds limit) {
  const std::vector<in_addr> addresses = lookup_.wait();
  if (addresses.empty()) {
    finished_ = true;
    return;
  }
  address_ = socketAddress(addresses.front(), ldapPort(server_));
  hasAddress_ = true;
  ping_ = startNetlogonPing(loop, address_, domain, limit);
}

std::optional<NetlogonAnswer> ControllerCandidate::takeAnswer() {
  if (!ping_.done()) return std::nullopt;
  finished_ = true;
  try {
    std::optional<NetlogonAnswer> answer = ping_.wait();
    answered_ = true;
    return answer;
  } catch (const TimeoutException&) {
  } catch (const IOException&) {
  } catch (const Base_Exception&) {  // it has answered, but is no controller of this domain
    answered_ = true;
  }
  return std::nullopt;
}

void ControllerCandidate::startConnect(EventLoop& loop, in_port_t port,
                                       std::chrono::milliseconds limit) {
  sockaddr_in target = address_;
  if (port != 0) target.sin_port = htons(port);
  connect_ = startConnectProbe(loop, target, limit);
}

bool ControllerCandidate::takeConnected() {
  return connect_.done() && connect_.wait().result == ConnectResult::kConnected;
}

}  // namespace tolk
