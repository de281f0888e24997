// What tests of the agent daemon share: calls to its socket, and short limits.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/lab.h"

namespace joinscope::test {

/// Limits that let the daemon's waits end soon, and no cache: what was just changed must show.
inline constexpr const char* kShortLimits =
    "cp /etc/orvald/orvald.conf /root/conf.daemon; "
    "printf '%s: 1\\n' velkd.dns.response.maxtime net.discovery.timeout ldap.connect.timeout "
    "velkd.directory.timeout krb5.kdc.timeout velkd.reconnect.maxtime velkd.transfer.timeout "
    "> /etc/orvald/orvald.conf; echo 'tolkd.cache.disable: true' >> /etc/orvald/orvald.conf";

inline std::string callOf(const std::string& method, const std::string& parameters) {
  return R"({"method":"org.orvald.velkd.)" + method + R"(","parameters":)" + parameters + "}";
}

inline std::string fetchOf(const std::string& dn, const std::string& server = "") {
  return callOf("FetchObject", R"({"server":")" + server + R"(","dn":")" + dn +
                                   R"(","attributes":["cn"],"fresh":true})");
}

/// Whether `fact` becomes true before the limit; asks again and again.
inline bool eventually(const std::function<bool()>& fact) {
  constexpr std::chrono::seconds kLimit{60};
  const auto end = std::chrono::steady_clock::now() + kLimit;
  while (std::chrono::steady_clock::now() < end) {
    if (fact()) return true;
  }
  return false;
}

class DaemonTest : public testing::Test {
 protected:
  void SetUp() override { restart(); }
  void TearDown() override {
    Lab::command({"daemon", "stop"});
    lab.member.must("cp /root/conf.daemon /etc/orvald/orvald.conf");
    Lab::command({"daemon", "start"});
  }

  static void restart() {
    Lab::command({"daemon", "stop"});
    Lab::command({"daemon", "start"});
  }

  /// The answers to these calls, one a line.
  [[nodiscard]] std::string answers(std::vector<std::string> words,
                                    const std::string& user = "root") const {
    words.insert(words.begin(), JOINSCOPE_RPC_CALLER);
    return lab.member.run(words, {.user = user}).out;
  }
  /// The state that `joinscope --mode` exits with.
  [[nodiscard]] int mode(const std::string& user = "root") const {
    return lab.member.joinscope({"--mode"}, {.user = user}).status;
  }
  [[nodiscard]] CommandResult velkd(std::vector<std::string> words,
                                    const std::string& user = "root") const {
    words.insert(words.begin(), daemonBinary());
    return lab.member.run(words, {.user = user});
  }

  Lab lab;
  HostChange limits{lab.member, kShortLimits, "true"};
};

}  // namespace joinscope::test
