// Starts the exchange of a row and makes one verdict of its outcome.
#include "facts/port_probe.h"

#include <cerrno>

#include <string>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/udp_binding.h"
#include "tolk/net/limits.h"

namespace joinscope {
namespace {

using PendingEntries = tolk::Pending<std::vector<tolk::CldapEntry>>;

PendingEntries startRootDseQuery(tolk::EventLoop& loop, const sockaddr_in& address) {
  // Later binds of this run keep to the same five seconds.
  tolk::Props(false, false).set(tolk::PN::LDAP_BIND_TIMEOUT, "5");
  tolk::CldapRequest request;
  request.present = "objectclass";
  request.attributes = {tolk::AD_DN_ONLY};
  return tolk::startCldapSearch(loop, address, request,
                                tolk::configuredLimit(tolk::PN::LDAP_BIND_TIMEOUT));
}

ProbeVerdict judgeRootDseQuery(PendingEntries& query) {
  ProbeVerdict verdict;
  try {
    verdict.result = query.wait().empty() ? ProbeVerdict::kRefused : ProbeVerdict::kGood;
  } catch (const std::exception& e) {
    verdict.reason = e.what();
  }
  return verdict;
}

ProbeVerdict verdictOf(int result, std::string message = {}) {
  ProbeVerdict verdict;
  verdict.result = result;
  verdict.message = std::move(message);
  return verdict;
}

/// A time-out is told by its error number; whatever else goes wrong in the exchange is a refusal.
int judgeSmbProbe(int result) {
  if (result == ETIME) return ProbeVerdict::kTimeout;
  return result == 0 ? ProbeVerdict::kGood : ProbeVerdict::kRefused;
}

}  // namespace

ProbeVerdict judgeTimeQuery(const std::function<void()>& query) {
  try {
    query();
    return verdictOf(ProbeVerdict::kGood);
  } catch (const tolk::TimeoutException& e) {
    return verdictOf(ProbeVerdict::kTimeout, e.what());
  } catch (const tolk::Base_Exception& e) {
    return verdictOf(ProbeVerdict::kRefused, e.what());
  }
}

ProbeVerdict askLdapUdp(const std::string& host) {
  tolk::Props().set(tolk::PN::LDAP_BIND_TIMEOUT, "5");
  const char* const attributes[] = {tolk::AD_DN_ONLY, nullptr};
  ProbeVerdict verdict;
  try {
    tolk::UDPBinding server;
    server.init(host);
    const bool empty = server.search("", tolk::AD_ALL_OBJECTS, attributes)->empty();
    verdict.result = empty ? ProbeVerdict::kRefused : ProbeVerdict::kGood;
  } catch (const std::exception& e) {
    verdict.reason = e.what();
  }
  return verdict;
}

ProbeVerdict askTime(const std::string& host) {
  return judgeTimeQuery([&host] { tolk::NtpGetTime(host.c_str()); });
}

bool limitReached(std::chrono::steady_clock::time_point started, const tolk::Property& limit) {
  return std::chrono::steady_clock::now() - started >= tolk::configuredLimit(limit);
}

RowProbe::RowProbe(tolk::EventLoop& loop, Probe probe, const sockaddr_in& address) : probe_(probe) {
  switch (probe) {
    case Probe::connect:
    case Probe::kdc:
      wait_ = tolk::startConnectProbe(loop, address);
      break;
    case Probe::smb:
      wait_ = tolk::startSmbProbe(loop, address);
      break;
    case Probe::ldapUdp:
      wait_ = startRootDseQuery(loop, address);
      break;
    case Probe::ntp:
      wait_ = tolk::startNtpQuery(loop, address);
      break;
  }
}

bool RowProbe::done() const {
  return std::visit([](const auto& wait) { return wait.done(); }, wait_);
}

ProbeVerdict RowProbe::take() {
  ProbeVerdict verdict;
  if (auto* query = std::get_if<tolk::Pending<tolk::NtpAnswer>>(&wait_)) {
    std::optional<double> ahead;
    verdict = judgeTimeQuery([&] { ahead = query->wait().clockAhead; });
    verdict.clockAhead = ahead;
    return verdict;
  }
  const tolk::Property* limit = &tolk::PN::NET_CONNECT_TIMEOUT;
  if (auto* query = std::get_if<PendingEntries>(&wait_)) {
    verdict = judgeRootDseQuery(*query);
    limit = &tolk::PN::LDAP_BIND_TIMEOUT;
  } else {
    tolk::ProbeOutcome outcome = std::get<tolk::Pending<tolk::ProbeOutcome>>(wait_).wait();
    verdict.result = probe_ == Probe::smb ? judgeSmbProbe(outcome.result) : outcome.result;
    verdict.reason = std::move(outcome.reason);
  }
  const bool answered =
      verdict.result == ProbeVerdict::kGood || verdict.result == ProbeVerdict::kRefused;
  if (!answered && limitReached(started_, *limit)) verdict.limit = limit;
  return verdict;
}

}  // namespace joinscope
