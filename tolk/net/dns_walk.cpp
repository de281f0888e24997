// Each server gets an equal share of what is left of the limit; a short question without
// recursion tells one that is slow from one that is dead.
#include "tolk/net/dns_walk.h"

#include <algorithm>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

// Limits in messages are rounded to these; lookups that start together then tell the same.
using Hundredths = std::chrono::duration<long, std::centi>;

// What a server did that is no answer; null for the others.
const char* faultOf(int status, bool usedTcp) {
  switch (status) {
    case ARES_ESERVFAIL:
      return "answered SERVFAIL";
    case ARES_EREFUSED:
      return "answered REFUSED";
    case ARES_ENOTIMP:
      return "answered NOTIMP";
    case ARES_EFORMERR:
      return "answered FORMERR";
    case ARES_ECONNREFUSED:
      return usedTcp ? "sent a truncated answer and closed TCP port 53"
                     : "cannot be reached at port 53";
    default:
      return nullptr;
  }
}

bool isAnswer(int status) {
  return status == ARES_SUCCESS || status == ARES_ENODATA || status == ARES_ENOTFOUND;
}

}  // namespace

DnsWalk::DnsWalk(std::string name, Clock::time_point deadline)
    : name_(std::move(name)), deadline_(deadline), choice_(NameServers::instance().choose()) {
  for (const NameServer& server : choice_.passedOver) {
    faults_.push_back({server.address,
                       server.fault + " and is not asked again for " +
                           limitText(configuredLimit(PN::NET_DNS_RETRY_DELAY)) +
                           " (net.dns.retry.delay)",
                       true});
  }
}

bool DnsWalk::next() {
  channel_.reset();
  const Clock::time_point now = Clock::now();
  if (next_ == choice_.toAsk.size() || now >= deadline_) return false;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - now);
  const auto share = left / static_cast<long>(choice_.toAsk.size() - next_);
  const auto tries = choice_.settings.timeout * ((1L << choice_.settings.attempts) - 1);
  const std::chrono::milliseconds limit =
      std::min<std::chrono::milliseconds>(std::chrono::ceil<Hundredths>(share), tries);
  const char* reason =
      share < left ? " (its share of velkd.dns.response.maxtime)" : " (velkd.dns.response.maxtime)";
  if (limit < share) reason = " (timeout and attempts in resolv.conf)";
  limit_ = limitText(limit) + reason;
  until_ = now + limit;
  askForLifeAt_ = now + limit / 3;
  channel_ = std::make_unique<DnsChannel>(choice_.toAsk[next_++], choice_.settings, limit);
  return true;
}

void DnsWalk::watch(std::vector<pollfd>& out) const {
  if (channel_) channel_->watch(out);
}

DnsWalk::Clock::time_point DnsWalk::wakeAt() const {
  return channel_ ? std::min({channel_->wakeAt(), askForLifeAt_, until_})
                  : Clock::time_point::max();
}

void DnsWalk::process(std::span<const pollfd> ready) {
  if (!channel_) return;
  if (Clock::now() >= askForLifeAt_) {
    askForLifeAt_ = Clock::time_point::max();
    channel_->askForLife();
  }
  channel_->process(ready);
}

bool DnsWalk::judge(int status) {
  const std::string& server = choice_.toAsk[next_ - 1].address;
  if (status == ARES_ETIMEOUT) {
    silent();
    return false;
  }
  const char* fault = faultOf(status, channel_->usedTcp());
  // An address that nobody has is found out by the kernel after some seconds (arp(7)).
  const bool unreachable = status == ARES_ECONNREFUSED && !channel_->usedTcp();
  const bool waited = askForLifeAt_ == Clock::time_point::max();
  if (fault != nullptr) fail(fault, unreachable && waited);
  if (isAnswer(status)) NameServers::instance().answered(server);
  heard_ = true;
  return fault == nullptr;
}

void DnsWalk::silent() {
  const NameServer& server = choice_.toAsk[next_ - 1];
  if (channel_->usedTcp()) {
    heard_ = true;
    fail("sent a truncated answer and none by TCP port 53 within " + limit_, false);
  } else if (channel_->lives()) {
    if (server.edns) NameServers::instance().leaveOutEdns(server.address);
    fail("answers, but not this question within " + limit_, false);
  } else {
    fail("did not answer within " + limit_, true);
  }
}

void DnsWalk::fail(const std::string& what, bool silent) {
  const std::string& server = choice_.toAsk[next_ - 1].address;
  NameServers::instance().failed(server, what, silent);
  faults_.push_back({server, what, silent});
}

std::string DnsWalk::problem() const {
  std::string text = "DNS has no answer for " + name_;
  const char* separator = ": ";
  for (const Fault& fault : faults_) {
    text += separator + fault.server + ' ' + fault.what;
    separator = ", ";
  }
  return text;
}

void DnsWalk::tellFaults() const {
  for (std::size_t i = choice_.passedOver.size(); i < faults_.size(); ++i) {
    const Fault& fault = faults_[i];
    noteTrouble("base.net.dns", "DNS server " + fault.server + ' ' + fault.what +
                                    (fault.silent ? "" : " for " + printable(name_)));
  }
}

}  // namespace tolk
