// Each server goes its own way, started by advance(): addresses, the first port at each of them,
// then all other ports at the one that accepts; whoever waits for one moves them all.
#include "facts/servers.h"

#include <arpa/inet.h>

#include <cerrno>

#include <algorithm>
#include <cassert>
#include <ctime>
#include <string>
#include <utility>

#include "tolk/base/descriptor_limit.h"
#include "tolk/base/property_names.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ad_object.h"
#include "tolk/ldap/root_dse_reads.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"
#include "tolk/net/limits.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace joinscope {

/// Host lookup, first row and, once that is good, all other rows of one server, each started as
/// soon as it can be.
class ServerProbes {
 public:
  using Clock = tolk::EventLoop::Clock;

  /// Starts the lookup. With a `realm`, a controller's LDAP and KDC ports are asked a question too.
  ServerProbes(tolk::EventLoop& loop, const ProbeTarget& target, const std::string& realm);

  /// Takes results that are there and starts what follows from them; never waits.
  void advance();

  /// What is known by now: empty while it is waited for. A row after a first one that is not good
  /// stays empty.
  [[nodiscard]] const std::optional<ProbeVerdict>& resolved() const { return resolved_; }
  [[nodiscard]] const std::optional<ProbeVerdict>& verdict(std::size_t row) const {
    return rows_[row].verdict;
  }
  /// Whether no question is open; facts() is whole when that holds, every row has a verdict, and
  /// no address is knocked at or patience with them is over.
  [[nodiscard]] bool answered() const { return !rootDse_ && !ticket_; }
  [[nodiscard]] bool knocking() const;
  [[nodiscard]] Clock::time_point patienceEnds() const { return knockedAt_ + kPatience; }
  [[nodiscard]] ControllerFacts facts() const;

 private:
  /// With a host's other addresses, once one has accepted: their limit is not worth a report's
  /// time.
  static constexpr std::chrono::milliseconds kPatience{1000};

  struct Row {
    std::optional<RowProbe> probe;
    std::optional<ProbeVerdict> verdict;
  };

  /// The first port at one of the host's addresses.
  struct Door {
    sockaddr_in address;
    std::optional<RowProbe> probe;
    ProbeVerdict verdict{};
  };

  void takeAddresses();
  void lookAtDoors();
  [[nodiscard]] ProbeVerdict verdictOfDoors() const;
  void enter(const Door& door);
  [[nodiscard]] int port(std::size_t row) const {
    return portOf(target_.entry, *target_.kind, row);
  }
  void start(std::size_t row);
  void ask();
  void takeRootDse();
  void takeTicket();

  tolk::EventLoop& loop_;
  ProbeTarget target_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  tolk::Pending<std::vector<in_addr>> lookup_;
  std::string realm_;
  std::vector<Door> doors_;
  Clock::time_point knockedAt_;
  sockaddr_in address_{};
  std::optional<ProbeVerdict> resolved_;
  std::vector<Row> rows_;
  tolk::Pending<tolk::RootDse> rootDse_;
  tolk::Pending<tolk::ProbeOutcome> ticket_;
  ControllerFacts facts_;
};

ServerProbes::ServerProbes(tolk::EventLoop& loop, const ProbeTarget& target,
                           const std::string& realm)
    : loop_(loop),
      target_(target),
      lookup_(tolk::startHostLookup(loop, target.entry.host)),
      realm_(target.kind == &kDomainController ? realm : std::string()),
      rows_(target.kind->rows.size()) {}

void ServerProbes::takeAddresses() {
  const std::vector<in_addr> addresses = lookup_.wait();
  resolved_.emplace();
  if (addresses.empty()) {
    const tolk::Property& limit = tolk::PN::VELKD_DNS_RESPONSE_MAXTIME;
    if (limitReached(started_, limit)) resolved_->limit = &limit;
    return;
  }
  resolved_->result = ProbeVerdict::kGood;
  constexpr std::size_t kMostAddresses = 3;
  knockedAt_ = Clock::now();
  for (const in_addr& host :
       std::span(addresses).first(std::min(kMostAddresses, addresses.size()))) {
    const sockaddr_in address = tolk::socketAddress(host, static_cast<in_port_t>(port(0)));
    doors_.push_back({address, RowProbe(loop_, target_.kind->rows[0].probe, address)});
  }
}

bool ServerProbes::knocking() const {
  return std::ranges::any_of(doors_, [](const Door& door) { return door.probe.has_value(); });
}

void ServerProbes::lookAtDoors() {
  std::optional<ProbeVerdict>& verdict = rows_[0].verdict;
  for (Door& door : doors_) {
    if (!door.probe || !door.probe->done()) continue;
    door.verdict = door.probe->take();
    door.probe.reset();
    if (!verdict && door.verdict.result == ProbeVerdict::kGood) enter(door);
  }
  if (!verdict && !doors_.empty() && !knocking()) verdict = verdictOfDoors();
}

// None is good: the first counts, and each has its reason.
ProbeVerdict ServerProbes::verdictOfDoors() const {
  ProbeVerdict verdict = doors_.front().verdict;
  for (const Door& door : std::span(doors_).subspan(1))
    verdict.reason += "; " + door.verdict.reason;
  return verdict;
}

void ServerProbes::enter(const Door& door) {
  address_ = door.address;
  rows_[0].verdict = door.verdict;
  for (std::size_t row = 1; row < rows_.size(); ++row) start(row);
  if (!realm_.empty()) ask();
}

void ServerProbes::start(std::size_t row) {
  address_.sin_port = htons(static_cast<in_port_t>(port(row)));
  rows_[row].probe.emplace(loop_, target_.kind->rows[row].probe, address_);
}

void ServerProbes::advance() {
  if (!resolved_ && lookup_.done()) takeAddresses();
  lookAtDoors();
  for (Row& row : rows_) {
    if (!row.probe || !row.probe->done()) continue;
    row.verdict = row.probe->take();
    row.probe.reset();
  }
  if (rootDse_.done()) takeRootDse();
  if (ticket_.done()) takeTicket();
}

void ServerProbes::ask() {
  address_.sin_port = htons(static_cast<in_port_t>(port(0)));
  rootDse_ = tolk::startRootDseRead(loop_, tolk::addressText(address_));
  const auto kdc = std::ranges::find(target_.kind->rows, Probe::kdc, &PortRow::probe);
  address_.sin_port = htons(static_cast<std::uint16_t>(kdc->port));
  ticket_ = tolk::startKdcProbe(loop_, address_, realm_);
}

void ServerProbes::takeRootDse() {
  try {
    const tolk::RootDse answer = rootDse_.wait();
    facts_.ldapAhead = clockAhead(answer.object, answer.received);
    if (!answer.object) facts_.ldapTrouble = "the root DSE is empty";
  } catch (const std::exception& e) {
    facts_.ldapTrouble = e.what();
  }
}

void ServerProbes::takeTicket() {
  const tolk::ProbeOutcome outcome = ticket_.wait();
  facts_.kdcTrouble = outcome.reason;
  if (outcome.error == ETIME) {
    facts_.kdcTrouble += " (" + tolk::limitSource(tolk::PN::KRB5_KDC_TIMEOUT) + ")";
  }
}

ControllerFacts ServerProbes::facts() const {
  ControllerFacts facts = facts_;
  for (const Door& door : doors_) {
    if (door.verdict.result == ProbeVerdict::kGood) continue;
    facts.deadAddresses.push_back(door.probe ? tolk::addressText(door.address) +
                                                   " did not accept a connection within " +
                                                   tolk::limitText(kPatience)
                                             : door.verdict.reason);
  }
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    const std::optional<ProbeVerdict>& verdict = rows_[row].verdict;
    if (!verdict) continue;
    if (verdict->clockAhead) facts.ntpAhead = verdict->clockAhead;
    // The row has said so.
    const bool kdc = target_.kind->rows[row].probe == Probe::kdc;
    if (kdc && verdict->result != ProbeVerdict::kGood) facts.kdcTrouble.clear();
  }
  return facts;
}

ProbeRun::ProbeRun(std::vector<ProbeTarget> targets, std::string realm)
    : targets_(std::move(targets)),
      realm_(std::move(realm)),
      window_(tolk::usableDescriptors(targets_.size() * kDescriptorsEach) / kDescriptorsEach) {
  if (window_ >= targets_.size()) return;
  tolk::noteTrouble("cli.diag", "Of " + std::to_string(targets_.size()) + " servers " +
                                    std::to_string(window_) +
                                    " are probed at a time: the limit of open files allows no "
                                    "more, and each such part may take a limit of its own");
}

void ProbeRun::runUntil(const std::function<bool()>& condition,
                        tolk::EventLoop::Clock::time_point deadline) {
  const auto goOn = [this, &condition] {
    for (const auto& probes : probes_) {
      if (probes) probes->advance();
    }
    return condition();
  };
  loop_.runUntil(goOn, deadline);
}

ProbeVerdict ProbeRun::waitFor(const std::optional<ProbeVerdict>& answer) {
  runUntil([&answer] { return answer.has_value(); });
  return answer.value_or(ProbeVerdict{});
}

ProbeRun::~ProbeRun() = default;

// As many servers are under way as the window holds, from the one that is asked about.
ServerProbes& ProbeRun::server(std::size_t index) {
  const std::size_t end = std::min(index + window_, targets_.size());
  if (index > 0) probes_[index - 1].reset();
  while (probes_.size() < end) {
    probes_.push_back(std::make_unique<ServerProbes>(loop_, targets_[probes_.size()], realm_));
  }
  return *probes_[index];
}

ProbeVerdict ProbeRun::address(std::size_t index) {
  return waitFor(server(index).resolved());
}

ProbeVerdict ProbeRun::port(std::size_t index, std::size_t row) {
  return waitFor(server(index).verdict(row));
}

ControllerFacts ProbeRun::controller(std::size_t index) {
  const ServerProbes& probes = server(index);
  runUntil([&probes] { return probes.answered(); });
  runUntil([&probes] { return !probes.knocking(); }, probes.patienceEnds());
  return probes.facts();
}

std::optional<double> clockAhead(const tolk::ADObject& rootDse,
                                 std::chrono::system_clock::time_point received) {
  return clockAhead(rootDse.getString(tolk::AD_CURRENT_TIME, ""), received);
}

std::optional<double> clockAhead(const std::string& text,
                                 std::chrono::system_clock::time_point received) {
  std::tm time{};
  constexpr std::size_t kDigits = 14;
  const char* end = ::strptime(text.c_str(), "%Y%m%d%H%M%S", &time);
  if (end != text.c_str() + kDigits || !text.ends_with('Z')) return {};
  // Cut to the second below: on the average half a second more.
  const auto server = static_cast<double>(::timegm(&time)) + 0.5;
  return std::chrono::duration<double>(received.time_since_epoch()).count() - server;
}

int portOf(const tolk::HostPort& entry, const ServerKind& kind, std::size_t row) {
  return row == 0 && entry.port > 0 ? entry.port : kind.rows[row].port;
}

}  // namespace joinscope
