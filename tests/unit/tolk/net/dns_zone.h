// DNS answers for tests: records by name, and names that misbehave.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/tolk/net/loopback_server.h"

namespace tolk::test {

/// A domain name on the wire (RFC 1035, 3.1). The text is split at dots; labels given one by one
/// may hold any byte.
std::string wireName(const std::string& text);
std::string wireName(const std::vector<std::string>& labels);

/// The data of a record.
std::string serviceData(std::uint16_t priority, std::uint16_t weight, std::uint16_t port,
                        const std::string& wireTarget);
std::string addressData(const std::string& dotted);

/// A whole answer message with these records (type, data), each owned by the name asked for.
std::string dnsAnswer(const std::string& query, int rcode,
                      const std::vector<std::pair<int, std::string>>& records,
                      std::size_t timeToLive = 0);

/// A query as a client sends it, to make answers of without a network.
std::string dnsQuery(const std::string& name, int type);

/// Answers from its records, NXDOMAIN for other names.
class DnsZone {
 public:
  static constexpr int kServFail = 2;
  static constexpr int kRefused = 5;
  static constexpr int kSilent = -1;

  void srv(const std::string& name, std::uint16_t priority, std::uint16_t weight,
           std::uint16_t port, const std::string& target);
  void a(const std::string& name, const std::string& address);
  void ptr(const std::string& name, const std::string& target);
  void add(const std::string& name, int type, std::string data);
  /// The response code for all queries of a name, or kSilent.
  void misbehave(const std::string& name, int rcode);
  /// How long the records may be remembered, in seconds; 0 at first.
  void keepFor(std::size_t seconds);
  void clear();

  /// The answer by UDP, cut to 512 bytes with the truncation bit where it is longer; empty for
  /// silence.
  [[nodiscard]] std::string reply(const std::string& query, bool udp) const;

  /// Serves this zone on port 53 of a loopback address by UDP and TCP. The zone must outlive the
  /// server.
  void serve(LoopbackServer& server, const std::string& address = "127.0.0.1") const;

 private:
  mutable std::mutex mutex_;  // the test and the server's thread
  std::map<std::string, std::vector<std::pair<int, std::string>>> records_;
  std::map<std::string, int> faults_;
  std::size_t timeToLive_ = 0;
};

}  // namespace tolk::test
