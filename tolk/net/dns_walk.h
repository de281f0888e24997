// The way of one DNS question from name server to name server, under one deadline.
#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tolk/net/dns_channel.h"
#include "tolk/net/name_servers.h"

namespace tolk {

/// Chooses the servers by the process's memory of them and tells it how they did. Each has an equal
/// share of the time that is left, and no more than resolv.conf gives it.
class DnsWalk {
 public:
  using Clock = DnsChannel::Clock;

  /// `name` is what messages call the question. Throws DNSUnavailableException when there are no
  /// settings.
  DnsWalk(std::string name, Clock::time_point deadline);

  /// Goes on to the next server; false when none is left.
  bool next();
  [[nodiscard]] ares_channel channel() const { return channel_->get(); }

  void watch(std::vector<pollfd>& out) const;
  [[nodiscard]] Clock::time_point wakeAt() const;
  void process(std::span<const pollfd> ready);

  /// Whether the present server's time is over; then the caller tells silent() and next().
  [[nodiscard]] bool timeIsUp() const { return channel_ && Clock::now() >= until_; }
  /// Whether the present server's status for a question is an answer; else next() is to follow.
  bool judge(int status);
  void silent();

  /// Whether any server did something about the question, if only to refuse it.
  [[nodiscard]] bool heard() const noexcept { return heard_; }
  /// "DNS has no answer for NAME: SERVER did ..., SERVER did ...".
  [[nodiscard]] std::string problem() const;
  /// Keeps what the servers did as troubles of the run, for when the question has an answer.
  void tellFaults() const;

 private:
  struct Fault {
    std::string server;
    std::string what;
    bool silent;
  };

  void fail(const std::string& what, bool silent);

  std::string name_;
  Clock::time_point deadline_;
  NameServers::Choice choice_;
  std::size_t next_ = 0;
  std::unique_ptr<DnsChannel> channel_;
  Clock::time_point askForLifeAt_ = Clock::time_point::max();  // when it was asked, max
  Clock::time_point until_;
  std::string limit_;  // of the present server, with what set it
  std::vector<Fault> faults_;
  bool heard_ = false;
};

}  // namespace tolk
