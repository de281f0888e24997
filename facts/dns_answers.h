// Questions to one name server, as facts.
#pragma once

#include <chrono>
#include <functional>

#include "facts/subjects/resolver.h"
#include "facts/waits.h"
#include "tolk/net/dns_question.h"
#include "tolk/net/host_port.h"

namespace joinscope::facts {

/// What a question is asked with.
struct Inquiry {
  Waits& waits;
  std::chrono::milliseconds limit;  ///< of each wait
};

/// An answer, and for SRV and PTR questions its records in the order of their weight.
struct DnsResult {
  DnsAnswer answer;
  tolk::HostPortList list;
};

/// Asks, and hands over how that ended. SRV records are told as "host:port", SOA records by their
/// primary server.
void askDns(const Inquiry& inquiry, const tolk::DnsQuestion& question,
            std::function<void(DnsResult)> then);

}  // namespace joinscope::facts
