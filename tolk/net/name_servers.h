// The process's memory of the name servers of resolv.conf(5): which answer, and which need not be
// waited for again.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "tolk/net/resolver_settings.h"

namespace tolk {

/// One name server, as far as the process knows it.
struct NameServer {
  using Clock = std::chrono::steady_clock;

  std::string address;
  std::uint64_t answers = 0;
  std::uint64_t failures = 0;
  std::string fault;          ///< what it did at last instead of answering; "" when it answered
  bool silent = false;        ///< its fault: no sign of life
  bool edns = true;           ///< is asked with EDNS0 (RFC 6891)
  Clock::time_point until{};  ///< how long the fault counts

  [[nodiscard]] bool faulty() const { return Clock::now() < until; }
};

/// Thread-safe. A silent server is passed over for net.dns.retry.delay, one that failed otherwise
/// is asked after the others for that time. All is forgotten when resolv.conf changes.
class NameServers {
 public:
  /// What one lookup goes by.
  struct Choice {
    ResolverSettings settings;
    std::vector<NameServer> toAsk;       ///< in this order
    std::vector<NameServer> passedOver;  ///< silent a short time ago
  };

  static NameServers& instance();

  /// Throws DNSUnavailableException when resolv.conf cannot be read.
  Choice choose();

  void answered(const std::string& address);
  /// `fault` reads on behind the server's address.
  void failed(const std::string& address, const std::string& fault, bool silent);
  /// It lives, but did not answer a question with EDNS0: something on the way may drop those, or
  /// the long answers to them.
  void leaveOutEdns(const std::string& address);

  /// The servers of the last lookup, in the order of resolv.conf.
  std::vector<NameServer> known();

 private:
  NameServer* find(const std::string& address);

  std::mutex mutex_;
  ResolverSettings settings_;
  std::vector<NameServer> servers_;
  std::size_t turn_ = 0;
};

}  // namespace tolk
