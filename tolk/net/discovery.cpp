#include "tolk/net/discovery.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/net/controller_candidate.h"
#include "tolk/net/controller_records.h"
#include "tolk/net/host_query.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using Clock = EventLoop::Clock;
using std::chrono::milliseconds;

// How long a good answer from another site waits for controllers of the client's own: long enough
// for one lost ping, which is repeated after a second.
constexpr milliseconds kSiteGrace{1500};
// How far controllers of one priority are asked before the next ones, and those of the known site
// before the domain's.
constexpr milliseconds kHeadStart{200};
// So many controllers are asked at once; the next batch follows when the first has stayed silent
// for a while.
constexpr std::size_t kBatch = 64;
constexpr milliseconds kBatchDelay{500};

void logDebug(const std::string& text) {
  Logger::GetThreadPrivateLogger("base.net.discovery").log(LogLevel::debug, text);
}

DCInfo makeInfo(const NetlogonAnswer& answer, const std::string& host, const sockaddr_in& address) {
  DCInfo info;
  info.found = true;
  info.roles = answer.flags;
  info.host = host;
  info.domain = answer.domain;
  info.forest = answer.forest;
  info.netbiosDomain = answer.netbiosDomain;
  info.dcSite = answer.dcSite;
  info.clientSite = answer.clientSite;
  info.nextClosestSite = answer.nextClosestSite;
  info.address = address;
  return info;
}

// Where a controller whose pings are not answered is tried; 0 for its LDAP port.
in_port_t servicePort(ServiceType::Enum type) {
  switch (type) {
    case ServiceType::globalCatalog:
      return 3268;
    case ServiceType::kdc:
      return 88;
    default:
      return 0;
  }
}

class Discovery {
 public:
  explicit Discovery(const DiscoveryRequest& request)
      : request_(request),
        limit_(configuredLimit(PN::NET_DISCOVERY_TIMEOUT)),
        records_(loop_, request.domain, request.type),
        wantedSite_(request.site) {}

  DCInfo run();

 private:
  bool progress();
  void addCandidates(const NamedControllers& named);
  void addCandidate(const HostPort& server, const std::string& site, Clock::time_point startAt);
  void hurry();
  void advance(ControllerCandidate& candidate);
  milliseconds pingTime();
  void judge(const ControllerCandidate& candidate, const NetlogonAnswer& answer);
  [[nodiscard]] bool isNear(const NetlogonAnswer& answer) const;
  [[nodiscard]] bool holdsDomain(const NetlogonAnswer& answer) const;
  [[nodiscard]] bool siteExhausted() const;
  [[nodiscard]] bool pingsOver() const;
  void tryConnections();
  [[nodiscard]] Clock::time_point connectAt() const;
  [[nodiscard]] Clock::time_point nextWake() const;
  [[nodiscard]] std::string triedServers() const;
  [[noreturn]] void fail() const;

  DiscoveryRequest request_;
  milliseconds limit_;
  EventLoop loop_;  // before all that runs on it
  ControllerRecords records_;
  std::vector<ControllerCandidate> candidates_;
  std::optional<Clock::time_point> pingDeadline_;
  std::string wantedSite_;
  std::optional<DCInfo> winner_;
  std::optional<DCInfo> distant_;  // good, but of another site
  Clock::time_point graceEnd_ = Clock::time_point::max();
  bool connecting_ = false;
};

DCInfo Discovery::run() {
  const std::string& site = request_.site.empty() ? request_.preferredSite : request_.site;
  if (!site.empty()) records_.askSite(site);
  records_.askDomain();
  while (!progress()) loop_.runOnce(nextWake());
  if (!winner_) fail();
  logDebug("Controller of " + request_.domain + ": " + winner_->host + " in site \"" +
           winner_->dcSite + "\"" + (winner_->found ? "" : ", by its TCP port alone"));
  return *winner_;
}

// Goes as far as it can without waiting; true when the search is over.
bool Discovery::progress() {
  for (const NamedControllers& named : records_.take()) addCandidates(named);
  hurry();
  for (ControllerCandidate& candidate : candidates_) {
    advance(candidate);
    if (winner_) return true;
  }
  if (distant_) {
    if (Clock::now() < graceEnd_ && !siteExhausted()) return false;
    winner_ = distant_;
    return true;
  }
  tryConnections();
  return winner_ || (pingsOver() && std::none_of(candidates_.begin(), candidates_.end(),
                                                 [](const ControllerCandidate& candidate) {
                                                   return candidate.connecting();
                                                 }));
}

void Discovery::addCandidates(const NamedControllers& named) {
  Clock::time_point startAt = Clock::now();
  if (named.site.empty() && records_.siteAsked()) startAt += kHeadStart;
  std::optional<std::uint16_t> priority;
  for (const HostPort& server : named.list) {
    if (priority && *priority != server.priority) startAt += kHeadStart;
    priority = server.priority;
    addCandidate(server, named.site, startAt + candidates_.size() / kBatch * kBatchDelay);
  }
}

void Discovery::addCandidate(const HostPort& server, const std::string& site,
                             Clock::time_point startAt) {
  auto candidate =
      std::find_if(candidates_.begin(), candidates_.end(),
                   [&server](const auto& known) { return known.host() == server.host; });
  if (candidate == candidates_.end()) {
    candidate = candidates_.emplace(candidate, server, startAt);
  }
  candidate->startAt = std::min(candidate->startAt, startAt);
  candidate->addSite(site);
}

// When nothing is under way any more, the next ones need not wait for their time.
void Discovery::hurry() {
  if (records_.pending()) return;
  auto next = Clock::time_point::max();
  for (const ControllerCandidate& candidate : candidates_) {
    if (candidate.active()) return;
    if (!candidate.started()) next = std::min(next, candidate.startAt);
  }
  const Clock::time_point now = Clock::now();
  for (ControllerCandidate& candidate : candidates_) {
    if (candidate.startAt == next) candidate.startAt = std::min(now, next);
  }
}

void Discovery::advance(ControllerCandidate& candidate) {
  if (!candidate.started() && Clock::now() >= candidate.startAt) candidate.startLookup(loop_);
  if (candidate.resolved()) {
    // Global catalogs of the forest serve the domain without holding it: they are asked about
    // themselves.
    const bool any = request_.type == ServiceType::globalCatalog;
    candidate.startPing(loop_, any ? "" : request_.domain, pingTime());
  }
  if (const auto answer = candidate.takeAnswer()) judge(candidate, *answer);
}

// What is left of the limit that all pings of the search share.
milliseconds Discovery::pingTime() {
  const Clock::time_point now = Clock::now();
  if (!pingDeadline_) pingDeadline_ = now + limit_;
  return std::max(std::chrono::ceil<milliseconds>(*pingDeadline_ - now), milliseconds(0));
}

void Discovery::judge(const ControllerCandidate& candidate, const NetlogonAnswer& answer) {
  if (!hasRoles(request_, answer.flags) || !holdsDomain(answer)) return;
  if (isNear(answer)) {
    winner_ = makeInfo(answer, candidate.host(), candidate.address());
    return;
  }
  if (distant_) return;
  distant_ = makeInfo(answer, candidate.host(), candidate.address());
  graceEnd_ = Clock::now() + kSiteGrace;
  if (wantedSite_.empty()) wantedSite_ = answer.clientSite;
  records_.askSite(wantedSite_);
}

bool Discovery::isNear(const NetlogonAnswer& answer) const {
  if (!request_.site.empty()) return equalsIgnoringCase(answer.dcSite, request_.site);
  return answer.clientSite.empty() || equalsIgnoringCase(answer.dcSite, answer.clientSite) ||
         (answer.flags & NetlogonFlag::kClosest) != 0;
}

bool Discovery::holdsDomain(const NetlogonAnswer& answer) const {
  return equalsIgnoringCase(answer.domain, request_.domain) ||
         (request_.type == ServiceType::globalCatalog &&
          equalsIgnoringCase(answer.forest, request_.domain));
}

bool Discovery::siteExhausted() const {
  return !records_.pending(wantedSite_) &&
         std::none_of(candidates_.begin(), candidates_.end(),
                      [this](const ControllerCandidate& candidate) {
                        return !candidate.finished() && candidate.inSite(wantedSite_);
                      });
}

bool Discovery::pingsOver() const {
  return !records_.pending() &&
         std::all_of(candidates_.begin(), candidates_.end(),
                     [](const ControllerCandidate& candidate) { return candidate.finished(); });
}

// Half of the limit without any answer: UDP may be filtered.
Clock::time_point Discovery::connectAt() const {
  return pingDeadline_ && !connecting_ ? *pingDeadline_ - limit_ / 2 : Clock::time_point::max();
}

void Discovery::tryConnections() {
  if (!connecting_ && (Clock::now() >= connectAt() || pingsOver())) {
    connecting_ = true;
    for (ControllerCandidate& candidate : candidates_) {
      if (!candidate.hasAddress() || candidate.answered()) continue;
      candidate.startConnect(loop_, servicePort(request_.type), limit_ / 2);
    }
  }
  for (ControllerCandidate& candidate : candidates_) {
    if (!candidate.takeConnected()) continue;
    winner_.emplace();
    winner_->flags = DCInfo::kUnverified;
    winner_->host = candidate.host();
    winner_->domain = request_.domain;
    winner_->address = candidate.address();
    return;
  }
}

Clock::time_point Discovery::nextWake() const {
  Clock::time_point wake = std::min(graceEnd_, connectAt());
  for (const ControllerCandidate& candidate : candidates_) {
    if (!candidate.started()) wake = std::min(wake, candidate.startAt);
  }
  return wake;
}

// "2 tried: dc1.lab.test, dc2.lab.test"; names in alphabetical order, three at most.
std::string Discovery::triedServers() const {
  constexpr std::size_t kMostNames = 3;
  std::vector<std::string> names;
  for (const ControllerCandidate& candidate : candidates_) {
    if (candidate.started()) names.push_back(shownName(candidate.host()));
  }
  std::sort(names.begin(), names.end());
  std::string text = std::to_string(names.size()) + " tried";
  for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
    text += (i == 0 ? ": " : ", ") + names[i];
  }
  return names.size() > kMostNames ? text + " and others" : text;
}

void Discovery::fail() const {
  const auto count = [this](bool (*holds)(const ControllerCandidate&)) {
    return std::to_string(std::count_if(candidates_.begin(), candidates_.end(), holds));
  };
  using Candidate = const ControllerCandidate&;
  const std::string tried = triedServers();
  const std::string domain = shownName(request_.domain);
  if (candidates_.empty()) {
    throw TOLKException(records_.failure().empty() ? "DNS has no controller of " + domain
                                                   : records_.failure());
  }
  if (count([](Candidate candidate) { return candidate.hasAddress(); }) == "0") {
    throw TOLKException("no controller of " + domain + " has an address (" + tried + ")");
  }
  const std::string answered = count([](Candidate candidate) { return candidate.answered(); });
  if (answered != "0") {
    throw TOLKException("no controller of " + domain + " has the wanted role (" + answered +
                        " answered, " + tried + ")");
  }
  throw TOLKException("no controller of " + domain + " answered within " + limitText(limit_) +
                      " (" + tried + "; net.discovery.timeout)");
}

}  // namespace

bool hasRoles(const DiscoveryRequest& request, std::uint32_t roles) noexcept {
  std::uint32_t wanted = NetlogonFlag::kLdap;
  if (request.type == ServiceType::globalCatalog) wanted |= NetlogonFlag::kGlobalCatalog;
  if (request.type == ServiceType::kdc) wanted |= NetlogonFlag::kKdc;
  if (request.writable) wanted |= NetlogonFlag::kWritable;
  return (roles & wanted) == wanted;
}

DCInfo discoverController(const DiscoveryRequest& request) {
  return Discovery(request).run();
}

DCInfo askController(const std::string& server) {
  EventLoop loop;
  const std::string host = toLower(server);
  const HostAnswer found =
      startHostQuery(loop, host, configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME)).wait();
  if (found.addresses.empty()) {
    throw TOLKException("host " + shownName(host) + " has no address" +
                        (found.error == TRY_AGAIN ? ": DNS does not answer" : ""));
  }
  const sockaddr_in address = socketAddress(found.addresses.front(), 389);
  try {
    const NetlogonAnswer answer =
        startNetlogonPing(loop, address, "", configuredLimit(PN::NET_DISCOVERY_TIMEOUT)).wait();
    return makeInfo(answer, host, address);
  } catch (const Base_Exception& failure) {
    throw TOLKException("netlogon query of " + shownName(host) + " failed: " + failure.what());
  }
}

}  // namespace tolk
