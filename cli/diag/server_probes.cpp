// The probes of many servers, all waits together.
#include "cli/diag/server_probes.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

#include "tolk/base/descriptor_limit.h"
#include "tolk/base/property_names.h"
#include "tolk/base/troubles.h"
#include "tolk/net/dns.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace joinscope {

ServerProbes::ServerProbes(tolk::EventLoop& loop, const ProbeTarget& target,
                           const std::string& realm)
    : loop_(loop),
      target_(target),
      lookup_(tolk::startHostLookup(loop, target.entry.host)),
      realm_(target.kind == &kDomainController ? realm : std::string()),
      rows_(target.kind->rows.size()) {}

void ServerProbes::takeAddress() {
  const std::vector<in_addr> addresses = lookup_.wait();
  resolved_.emplace();
  if (addresses.empty()) {
    const tolk::Property& limit = tolk::PN::VELKD_DNS_RESPONSE_MAXTIME;
    if (limitReached(started_, limit)) resolved_->limit = &limit;
    return;
  }
  resolved_->result = ProbeVerdict::kGood;
  address_.sin_family = AF_INET;
  address_.sin_addr = addresses.front();
  start(0);
}

void ServerProbes::start(std::size_t row) {
  const int port = portOf(target_.entry, *target_.kind, row);
  address_.sin_port = htons(static_cast<std::uint16_t>(port));
  rows_[row].probe.emplace(loop_, target_.kind->rows[row].probe, address_);
}

void ServerProbes::advance() {
  if (!resolved_ && lookup_.done()) takeAddress();
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    Row& state = rows_[row];
    if (!state.probe || !state.probe->done()) continue;
    state.verdict = state.probe->take();
    state.probe.reset();
    if (row != 0 || state.verdict->result != ProbeVerdict::kGood) continue;
    for (std::size_t next = 1; next < rows_.size(); ++next) start(next);
    if (!realm_.empty()) ask();
  }
  if (rootDse_.done()) takeRootDse();
  if (ticket_.done()) facts_.kdcTrouble = ticket_.wait();
}

void ServerProbes::ask() {
  address_.sin_port = htons(static_cast<std::uint16_t>(portOf(target_.entry, *target_.kind, 0)));
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

ControllerFacts ServerProbes::facts() const {
  ControllerFacts facts = facts_;
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

void ProbeRun::startUpTo(std::size_t end) {
  while (probes_.size() < std::min(end, targets_.size())) {
    probes_.push_back(std::make_unique<ServerProbes>(loop_, targets_[probes_.size()], realm_));
  }
}

void ProbeRun::runUntil(const std::function<bool()>& condition) {
  loop_.runUntil([this, &condition] {
    for (const auto& probes : probes_) {
      if (probes) probes->advance();
    }
    return condition();
  });
}

ProbeVerdict ProbeRun::waitFor(const std::optional<ProbeVerdict>& answer) {
  runUntil([&answer] { return answer.has_value(); });
  return answer.value_or(ProbeVerdict{});
}

bool ProbeRun::write(std::ostream& out, std::size_t index, std::ostream* diag) {
  startUpTo(index + window_);
  const ServerProbes& server = *probes_[index];
  const ServerAnswers answers{
      .resolve = [&] { return waitFor(server.resolved()); },
      .probe = [&](std::size_t row) { return waitFor(server.verdict(row)); },
      .facts =
          [&] {
            runUntil([&] { return server.answered(); });
            return server.facts();
          },
  };
  const bool reachable =
      writeServer(out, *targets_[index].kind, targets_[index].entry, answers, diag);
  probes_[index].reset();
  return reachable;
}

}  // namespace joinscope
