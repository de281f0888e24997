// A small machine: addresses, then a ping to each by UDP, later or instead the same question by
// TCP, beside it a connection to the port that matters. The first answer leaves one address.
#include "tolk/net/controller_candidate.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ratio>
#include <utility>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/host_query.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using std::chrono::milliseconds;

constexpr in_port_t kLdapPort = 389;
constexpr std::int32_t kGlobalCatalogPort = 3268;
constexpr std::size_t kMostAddresses = 3;

// Pings go to the LDAP port also where the record is that of a global catalog.
in_port_t ldapPort(const HostPort& server) {
  const bool other = server.port > 0 && server.port <= 65535 && server.port != kGlobalCatalogPort;
  return other ? static_cast<in_port_t>(server.port) : kLdapPort;
}

}  // namespace

milliseconds ControllerQuestion::timeLeft() const {
  if (!deadline) return milliseconds(0);
  const auto left = *deadline - EventLoop::Clock::now();
  return std::max(std::chrono::ceil<milliseconds>(left), milliseconds(0));
}

ControllerCandidate::ControllerCandidate(HostPort server, Clock::time_point start,
                                         bool failedBefore)
    : startAt(start), server_(std::move(server)), failedBefore_(failedBefore) {}

bool ControllerCandidate::inSite(const std::string& site) const {
  return std::any_of(sites_.begin(), sites_.end(),
                     [&site](const std::string& known) { return equalsIgnoringCase(known, site); });
}

void ControllerCandidate::start(EventLoop& loop) {
  started_ = true;
  lookup_ = startHostLookup(loop, server_.host);
}

bool ControllerCandidate::finished() const noexcept {
  return started_ && !lookup_ && !pinging() && !asking() && !connect_;
}

bool ControllerCandidate::pinging() const noexcept {
  return std::ranges::any_of(places_, [](const Place& place) { return bool{place.ping}; });
}

bool ControllerCandidate::asking() const noexcept {
  return std::ranges::any_of(places_, [](const Place& place) { return bool{place.query}; });
}

ControllerCandidate::Clock::time_point ControllerCandidate::wakeAt() const {
  if (!started_) return startAt;
  return queried_ || answered_ ? Clock::time_point::max() : queryAt_;
}

void ControllerCandidate::advance(ControllerQuestion& question) {
  if (lookup_.done()) takeAddresses(question);
  takeAnswers(question);
  if (connect_.done()) takePort();
  const bool byTcpNow = !pinging() || Clock::now() >= queryAt_;
  if (hasAddress_ && !answered_ && !queried_ && byTcpNow) {
    askByTcp(question);
    tryPort(question, question.timeLeft());
  }
  if (answer_ && !failedBefore_) tryPort(question, question.limit);
}

void ControllerCandidate::takeAddresses(ControllerQuestion& question) {
  std::vector<in_addr> addresses = lookup_.wait();
  if (addresses.empty()) return;
  addresses.resize(std::min(addresses.size(), kMostAddresses));
  address_ = socketAddress(addresses.front(), ldapPort(server_));
  hasAddress_ = true;
  const Clock::time_point now = Clock::now();
  if (!question.deadline) question.deadline = now + question.limit;
  const milliseconds half = question.limit / 2;
  bool filtered = true;
  for (const in_addr& host : addresses) {
    const sockaddr_in address = socketAddress(host, ldapPort(server_));
    filtered = filtered && knownSilence(Transport::udp, address) >= half;
    places_.push_back({address,
                       startNetlogonPing(question.loop, Transport::udp, address, question.domain,
                                         question.timeLeft()),
                       {}});
  }
  queryAt_ = filtered || question.byTcpAtOnce ? now : *question.deadline - half;
}

void ControllerCandidate::askByTcp(const ControllerQuestion& question) {
  queried_ = true;
  for (Place& place : places_) {
    place.query = startNetlogonPing(question.loop, Transport::tcp, place.address, question.domain,
                                    question.timeLeft());
  }
}

void ControllerCandidate::tryPort(const ControllerQuestion& question, milliseconds limit) {
  if (std::exchange(portTried_, true)) return;
  port_ = address_;
  if (question.port != 0) port_.sin_port = htons(question.port);
  connectStart_ = Clock::now();
  connect_ = startConnectProbe(question.loop, port_, limit);
}

void ControllerCandidate::takeAnswers(const ControllerQuestion& question) {
  for (Place& place : places_) {
    if (place.ping.done()) takeAnswer(place.address, place.ping);
    if (place.query.done()) {
      takeAnswer(place.address, place.query);
      if (answer_ && !question.byTcpAtOnce) tellUdpLost();
    }
  }
}

void ControllerCandidate::takeAnswer(const sockaddr_in& address, Pending<NetlogonAnswer>& pending) {
  try {
    answer_ = pending.wait();
    answered_ = true;
  } catch (const TimeoutException& failure) {
    noteFailure(failure);
  } catch (const IOException& failure) {
    noteFailure(failure);
  } catch (const Base_Exception&) {  // it speaks LDAP, but is no controller of this domain
    answered_ = true;
  }
  if (answered_) settle(address);
}

// What is under way elsewhere is given up; a port that was tried elsewhere has not been tried.
void ControllerCandidate::settle(const sockaddr_in& address) {
  for (Place& place : places_) {
    place.ping = {};
    place.query = {};
  }
  const bool moved = address.sin_addr.s_addr != address_.sin_addr.s_addr;
  if (moved || !answer_) connect_ = {};
  if (!moved) return;
  address_ = address;
  portTried_ = false;
  accepts_ = false;
  portFailure_.clear();
}

void ControllerCandidate::tellUdpLost() const {
  noteTrouble("base.net.discovery", printable(host()) + " was asked over TCP: netlogon pings to " +
                                        addressText(address_) +
                                        "/udp got no answer within half of net.discovery.timeout" +
                                        (failure_.empty() ? "" : ": " + failure_));
}

void ControllerCandidate::noteFailure(const Base_Exception& failure) {
  if (failure.code() == ETIMEDOUT || failure.code() == ETIME) {
    silence_ = failure.what();
  } else {
    failure_ = failure.what();
  }
}

void ControllerCandidate::takePort() {
  const ProbeOutcome outcome = connect_.wait();
  accepts_ = outcome.result == ConnectResult::kConnected;
  portFailure_ = outcome.reason;
}

std::string ControllerCandidate::portFailure() const {
  if (!portFailure_.empty()) return portFailure_;
  using Tenths = std::chrono::duration<std::int64_t, std::deci>;
  const auto time = std::chrono::floor<Tenths>(Clock::now() - connectStart_);
  return addressText(port_) + " did not accept a connection within " + limitText(time);
}

}  // namespace tolk
