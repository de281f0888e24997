// Candidates come in as DNS names them, start in waves (by site, priority and number), and are
// ranked whenever one changes; the search ends with the best possible one, or when nothing better
// can come, or a grace after the first that will do.
#include "tolk/net/discovery.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tolk/base/descriptor_limit.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/controller_candidate.h"
#include "tolk/net/controller_records.h"
#include "tolk/net/discovery_failure.h"
#include "tolk/net/host_query.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using Clock = EventLoop::Clock;
using std::chrono::milliseconds;

constexpr const char* kLogger = "base.net.discovery";

// How long a controller that would do waits for a better one, of the client's own site or with a
// port that accepts: long enough for one lost ping, which is repeated after a second.
constexpr milliseconds kGrace{1500};
// How far controllers of one priority are asked before the next ones, and those of the known site
// before the domain's.
constexpr milliseconds kHeadStart{200};
// Lookups and pings of many controllers go out in portions, so that neither name server nor network
// drops them.
constexpr std::size_t kPortion = 64;
constexpr milliseconds kPortionDelay{50};
// Host lookup or ping, question by TCP, connection; few hosts have more than one address.
constexpr std::size_t kDescriptorsEach = 3;

// How good a candidate is, the best first. Anything worse is no controller to use.
enum class Rank { near, distant, failedBefore, portClosed, unverified };

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

// The port a controller is wanted for; 0 for its LDAP port.
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
  explicit Discovery(const DiscoveryRequest& request);

  Discovered run();

 private:
  bool progress();
  void addCandidates(const NamedControllers& named);
  void addCandidate(const HostPort& server, const std::string& site, Clock::time_point startAt);
  void hurry();
  void startDue();
  std::size_t room();
  void learnSite(const ControllerCandidate& candidate);
  [[nodiscard]] std::optional<Rank> rank(const ControllerCandidate& candidate) const;
  [[nodiscard]] bool fits(const NetlogonAnswer& answer) const;
  [[nodiscard]] bool isNear(const NetlogonAnswer& answer) const;
  void choose();
  [[nodiscard]] bool betterMayCome() const;
  [[nodiscard]] bool siteExhausted() const;
  [[nodiscard]] bool allFinished() const;
  [[nodiscard]] Clock::time_point nextWake() const;
  [[nodiscard]] Discovered result() const;

  DiscoveryRequest request_;
  EventLoop loop_;  // before all that runs on it
  ControllerQuestion question_;
  ControllerRecords records_;
  std::vector<ControllerCandidate> candidates_;
  std::string wantedSite_;
  const ControllerCandidate* best_ = nullptr;
  Rank bestRank_ = Rank::unverified;
  Clock::time_point graceEnd_ = Clock::time_point::max();
};

// Global catalogs of the forest serve the domain without holding it: they are asked about
// themselves.
Discovery::Discovery(const DiscoveryRequest& request)
    : request_(request),
      question_{.loop = loop_,
                .domain = request.type == ServiceType::globalCatalog ? "" : request.domain,
                .port = servicePort(request.type),
                .limit = configuredLimit(PN::NET_DISCOVERY_TIMEOUT),
                .byTcpAtOnce = !request.failedBefore.empty()},
      records_(loop_, request.domain, request.type),
      wantedSite_(request.site) {}

Discovered Discovery::run() {
  const std::string& site = request_.site.empty() ? request_.preferredSite : request_.site;
  if (!site.empty()) records_.askSite(site);
  records_.askDomain();
  while (!progress()) loop_.runOnce(nextWake());
  if (best_ == nullptr) {
    throw TOLKException(discoveryFailure(request_.domain, records_.failure(), candidates_,
                                         question_.limit - question_.timeLeft()));
  }
  return result();
}

// Goes as far as it can without waiting; true when the search is over.
bool Discovery::progress() {
  for (const NamedControllers& named : records_.take()) addCandidates(named);
  hurry();
  startDue();
  for (ControllerCandidate& candidate : candidates_) {
    if (!candidate.active()) continue;
    candidate.advance(question_);
    learnSite(candidate);
  }
  choose();
  if (best_ == nullptr) return allFinished();
  return bestRank_ == Rank::near || Clock::now() >= graceEnd_ || !betterMayCome();
}

void Discovery::addCandidates(const NamedControllers& named) {
  Clock::time_point startAt = Clock::now();
  if (named.site.empty() && records_.siteAsked()) startAt += kHeadStart;
  std::optional<std::uint16_t> priority;
  for (const HostPort& server : named.list) {
    if (priority && *priority != server.priority) startAt += kHeadStart;
    priority = server.priority;
    addCandidate(server, named.site, startAt + candidates_.size() / kPortion * kPortionDelay);
  }
}

void Discovery::addCandidate(const HostPort& server, const std::string& site,
                             Clock::time_point startAt) {
  auto candidate =
      std::find_if(candidates_.begin(), candidates_.end(),
                   [&server](const auto& known) { return known.host() == server.host; });
  if (candidate == candidates_.end()) {
    candidate = candidates_.emplace(candidate, server, startAt,
                                    request_.failedBefore.contains(server.host));
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

void Discovery::startDue() {
  const Clock::time_point now = Clock::now();
  std::size_t left = room();
  for (ControllerCandidate& candidate : candidates_) {
    if (candidate.started() || now < candidate.startAt) continue;
    if (left == 0) return;
    --left;
    candidate.start(loop_);
  }
}

// How many more may be asked now.
std::size_t Discovery::room() {
  const auto active = static_cast<std::size_t>(
      std::count_if(candidates_.begin(), candidates_.end(),
                    [](const ControllerCandidate& candidate) { return candidate.active(); }));
  const std::size_t most =
      usableDescriptors(candidates_.size() * kDescriptorsEach) / kDescriptorsEach;
  if (candidates_.size() > most) {
    noteTrouble(kLogger, "Of the " + std::to_string(candidates_.size()) + " controllers of " +
                             shownName(request_.domain) + " " + std::to_string(most) +
                             " are asked at a time: the limit of open files allows no more");
  }
  return active < most ? most - active : 0;
}

// The first one that answers knows in whose site this host is.
void Discovery::learnSite(const ControllerCandidate& candidate) {
  const std::optional<NetlogonAnswer>& answer = candidate.answer();
  if (!answer || !fits(*answer) || isNear(*answer)) return;
  if (wantedSite_.empty()) wantedSite_ = answer->clientSite;
  records_.askSite(wantedSite_);
}

std::optional<Rank> Discovery::rank(const ControllerCandidate& candidate) const {
  if (!candidate.answered()) {
    return candidate.accepts() ? std::optional(Rank::unverified) : std::nullopt;
  }
  const std::optional<NetlogonAnswer>& answer = candidate.answer();
  if (!answer || !fits(*answer)) return std::nullopt;
  if (candidate.failedBefore()) return Rank::failedBefore;
  if (!candidate.accepts()) return Rank::portClosed;
  return isNear(*answer) ? Rank::near : Rank::distant;
}

bool Discovery::fits(const NetlogonAnswer& answer) const {
  const bool holdsDomain = equalsIgnoringCase(answer.domain, request_.domain) ||
                           (request_.type == ServiceType::globalCatalog &&
                            equalsIgnoringCase(answer.forest, request_.domain));
  return holdsDomain && hasRoles(request_, answer.flags);
}

bool Discovery::isNear(const NetlogonAnswer& answer) const {
  if (!request_.site.empty()) return equalsIgnoringCase(answer.dcSite, request_.site);
  return answer.clientSite.empty() || equalsIgnoringCase(answer.dcSite, answer.clientSite) ||
         (answer.flags & NetlogonFlag::kClosest) != 0;
}

void Discovery::choose() {
  best_ = nullptr;
  for (const ControllerCandidate& candidate : candidates_) {
    const std::optional<Rank> found = rank(candidate);
    if (!found || (best_ != nullptr && *found >= bestRank_)) continue;
    best_ = &candidate;
    bestRank_ = *found;
  }
  if (best_ != nullptr) graceEnd_ = std::min(graceEnd_, Clock::now() + kGrace);
}

bool Discovery::betterMayCome() const {
  return bestRank_ == Rank::distant ? !siteExhausted() : !allFinished();
}

bool Discovery::siteExhausted() const {
  return !records_.pending(wantedSite_) &&
         std::none_of(candidates_.begin(), candidates_.end(),
                      [this](const ControllerCandidate& candidate) {
                        return !candidate.finished() && candidate.inSite(wantedSite_);
                      });
}

bool Discovery::allFinished() const {
  return !records_.pending() &&
         std::all_of(candidates_.begin(), candidates_.end(),
                     [](const ControllerCandidate& candidate) { return candidate.finished(); });
}

Clock::time_point Discovery::nextWake() const {
  const Clock::time_point now = Clock::now();
  Clock::time_point wake = graceEnd_;
  for (const ControllerCandidate& candidate : candidates_) {
    // One that is due and waits for a descriptor is woken by whoever gives one back.
    if (candidate.started() || candidate.startAt > now) wake = std::min(wake, candidate.wakeAt());
  }
  return wake;
}

Discovered Discovery::result() const {
  Discovered found;
  const std::optional<NetlogonAnswer>& answer = best_->answer();
  if (answer && bestRank_ != Rank::unverified) {
    found.info = makeInfo(*answer, best_->host(), best_->address());
  } else {
    found.info.flags = DCInfo::kUnverified;
    found.info.host = best_->host();
    found.info.domain = request_.domain;
    found.info.address = best_->address();
  }
  for (const ControllerCandidate& candidate : candidates_) {
    // Of the others a port that has not answered yet says nothing.
    const bool known = &candidate == best_ || candidate.finished();
    if (known && rank(candidate) == Rank::portClosed) {
      found.useless.push_back({candidate.host(), candidate.portFailure()});
    }
  }
  Logger::GetThreadPrivateLogger(kLogger).log(
      LogLevel::debug, "Controller of " + request_.domain + ": " + found.info.host + " in site \"" +
                           found.info.dcSite + "\"" +
                           (found.info.found ? "" : ", by its TCP port alone"));
  return found;
}

}  // namespace

bool hasRoles(const DiscoveryRequest& request, std::uint32_t roles) noexcept {
  std::uint32_t wanted = NetlogonFlag::kLdap;
  if (request.type == ServiceType::globalCatalog) wanted |= NetlogonFlag::kGlobalCatalog;
  if (request.type == ServiceType::kdc) wanted |= NetlogonFlag::kKdc;
  if (request.writable) wanted |= NetlogonFlag::kWritable;
  return (roles & wanted) == wanted;
}

Discovered discoverController(const DiscoveryRequest& request) {
  return Discovery(request).run();
}

DCInfo askController(const std::string& server) {
  EventLoop loop;
  ControllerQuestion question{
      .loop = loop, .domain = {}, .limit = configuredLimit(PN::NET_DISCOVERY_TIMEOUT)};
  ControllerCandidate candidate({.host = toLower(server), .text = {}}, Clock::now(), true);
  candidate.start(loop);
  while (candidate.active() && !candidate.answered()) {
    loop.runOnce(candidate.wakeAt());
    candidate.advance(question);
  }
  const std::optional<NetlogonAnswer>& answer = candidate.answer();
  if (!answer) throw TOLKException(askingFailure(candidate));
  return makeInfo(*answer, candidate.host(), candidate.address());
}

}  // namespace tolk
