// The sentence says how far the search came: no record, no address, no answer, or the wrong role.
#include "tolk/net/discovery_failure.h"

#include <algorithm>
#include <cstdint>
#include <functional>

#include "tolk/base/text.h"
#include "tolk/net/host_query.h"
#include "tolk/net/interfaces.h"

namespace tolk {
namespace {

using Candidates = std::vector<ControllerCandidate>;

constexpr std::size_t kMostNames = 3;

// "dc1.lab.test (10.0.0.1:389: Connection refused)", the address alone where it stayed silent.
std::string shownServer(const ControllerCandidate& candidate) {
  std::string name = printable(shownName(candidate.host()));
  if (!candidate.hasAddress()) return name;
  if (!candidate.failure().empty()) return name + " (" + candidate.failure() + ")";
  return name + " (" + InetNToA(candidate.address().sin_addr.s_addr) + ")";
}

// "2 tried: dc1.lab.test (10.0.0.1), dc2.lab.test"; in alphabetical order, three at most.
std::string triedServers(const Candidates& candidates) {
  std::vector<std::string> servers;
  for (const ControllerCandidate& candidate : candidates) {
    if (candidate.started()) servers.push_back(shownServer(candidate));
  }
  std::sort(servers.begin(), servers.end());
  std::string text = std::to_string(servers.size()) + " tried";
  for (std::size_t i = 0; i < std::min(servers.size(), kMostNames); ++i) {
    text += (i == 0 ? ": " : ", ") + servers[i];
  }
  return servers.size() > kMostNames ? text + " and others" : text;
}

}  // namespace

std::string discoveryFailure(const std::string& domain, const std::string& dnsFailure,
                             const Candidates& candidates, std::chrono::milliseconds waited) {
  const auto count = [&candidates](bool (ControllerCandidate::*holds)() const noexcept) {
    return std::count_if(candidates.begin(), candidates.end(), std::mem_fn(holds));
  };
  const std::string none = "no controller of " + printable(shownName(domain));
  const std::string tried = triedServers(candidates);
  if (count(&ControllerCandidate::hasAddress) == 0) {
    if (!dnsFailure.empty()) return dnsFailure;
    return candidates.empty() ? "DNS has " + none : none + " has an address (" + tried + ")";
  }
  if (const auto answered = count(&ControllerCandidate::answered); answered != 0) {
    return none + " has the wanted role (" + std::to_string(answered) + " answered, " + tried + ")";
  }
  if (count(&ControllerCandidate::timedOut) == 0) return none + " can be reached (" + tried + ")";
  const std::chrono::milliseconds limit = configuredLimit(PN::NET_DISCOVERY_TIMEOUT);
  if (waited < limit) {
    return none + " answered within " + limitText(waited) + ", after the silence of before (" +
           tried + ")";
  }
  return none + " answered within " + limitText(limit) + " (" + tried + "; " +
         limitSource(PN::NET_DISCOVERY_TIMEOUT) + ")";
}

std::string askingFailure(const ControllerCandidate& candidate) {
  std::string name = printable(shownName(candidate.host()));
  if (!candidate.hasAddress()) return "host " + name + " has no address";
  std::string text = "netlogon query of " + shownServer(candidate) + " failed: ";
  if (candidate.answered()) return text + "it is no domain controller";
  return text + (candidate.timedOut() ? candidate.silence() : "it cannot be reached");
}

}  // namespace tolk
