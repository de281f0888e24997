// Questions to name servers, as facts.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <utility>

#include "facts/subjects/resolver.h"
#include "facts/waits.h"
#include "tolk/net/dns_question.h"
#include "tolk/net/host_port.h"

namespace joinscope::facts {

/// An answer, and for SRV and PTR questions its records in the order of their weight.
struct DnsResult {
  DnsAnswer answer;
  tolk::HostPortList list;
};

/// Asks questions and hands over how each ended. A few at a time: each has a socket and a quarter
/// of a megabyte of the library's memory while it is under way.
class DnsQuestions {
 public:
  using Then = std::function<void(DnsResult)>;

  DnsQuestions(Waits& waits, std::chrono::milliseconds limit) : waits_(waits), limit_(limit) {}

  /// SRV records are told as "host:port", SOA records by their primary server.
  void ask(const tolk::DnsQuestion& question, Then then);

 private:
  static constexpr std::size_t kTogether = 24;

  void start(const tolk::DnsQuestion& question, const Then& then);

  Waits& waits_;
  std::chrono::milliseconds limit_;
  std::size_t open_ = 0;
  std::deque<std::pair<tolk::DnsQuestion, Then>> later_;
};

/// What things are asked with.
struct Inquiry {
  Waits& waits;
  DnsQuestions& dns;
  std::chrono::milliseconds limit;  ///< of each wait
};

}  // namespace joinscope::facts
