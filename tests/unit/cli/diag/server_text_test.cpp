// The lines of one server, whatever its ports answer.
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <vector>

#include "cli/diag/server_text.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_object.h"

namespace joinscope {
namespace {

constexpr ProbeVerdict verdictOf(int result) {
  return {result, nullptr, {}};
}

struct Written {
  std::string text;
  std::string diagnostics;
  bool reachable = false;
  std::size_t probed = 0;
};

Written write(const ServerKind& kind, const tolk::HostPort& entry,
              const std::vector<ProbeVerdict>& rows, const ProbeVerdict& address = verdictOf(0)) {
  std::ostringstream out;
  std::ostringstream verbose;
  Written written;
  const ServerAnswers answers{.resolve = [&] { return address; },
                              .probe =
                                  [&](std::size_t row) {
                                    ++written.probed;
                                    return rows.at(row);
                                  }};
  written.reachable = writeServer(out, kind, entry, answers, verbose);
  written.text = out.str();
  written.diagnostics = verbose.str();
  return written;
}

tolk::HostPort host(std::int32_t port) {
  return {.host = "dc1.lab.test", .text = {}, .port = port, .priority = 0, .weight = 0};
}

TEST(ServerText, FirstRowDecides) {
  struct Case {
    const char* what;
    const ServerKind& kind;
    std::int32_t port;
    int result;
    const char* text;
  };
  const Case cases[] = {
      {"a refused global catalog is given up like a controller", kGlobalCatalog, 3268, 1,
       "    Global Catalog: dc1.lab.test\n"
       "      gc:       3268/tcp - refused\n"
       "      No TCP LDAP response, giving up on dc1.lab.test\n"},
      {"port 0 keeps the table's", kGlobalCatalog, 0, 0,
       "    Global Catalog: dc1.lab.test\n"
       "      gc:       3268/tcp - good\n"},
      {"no known port keeps the table's", kDomainController, tolk::HostPort::NO_PORT, -1,
       "    Domain Controller: dc1.lab.test\n"
       "      ldap:      389/tcp - timeout\n"
       "      No TCP LDAP response, giving up on dc1.lab.test\n"},
      {"another port replaces it, wider than its column if need be", kGlobalCatalog, 33268, 0,
       "    Global Catalog: dc1.lab.test\n"
       "      gc:       33268/tcp - good\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Written written = write(c.kind, host(c.port), {verdictOf(c.result)});
    EXPECT_EQ(written.text, c.text);
    EXPECT_EQ(written.reachable, c.result == 0);
    EXPECT_EQ(written.probed, 1U);
  }
}

TEST(ServerText, UnknownHostEndsItsLineInBlanksAndIsEscaped) {
  tolk::HostPort entry = host(389);
  entry.host = "dc\n1";
  const Written written = write(kDomainController, entry, {}, verdictOf(-1));
  EXPECT_EQ(written.text,
            "    Domain Controller: dc\\x0A1\n"
            "      Can't resolve IP address for dc\\x0A1      \n"
            "Please check your DNS configuration\n");
  EXPECT_FALSE(written.reachable);
}

TEST(ServerText, DiagnosticsNameLimitAndReason) {
  ProbeVerdict first{-1, &tolk::PN::NET_CONNECT_TIMEOUT, {}};
  EXPECT_EQ(write(kGlobalCatalog, host(3268), {first}).diagnostics,
            "  ... limit of 5 s (net.connect.timeout) reached\n");
  ProbeVerdict address{-1, &tolk::PN::VELKD_DNS_RESPONSE_MAXTIME, {}};
  EXPECT_EQ(write(kGlobalCatalog, host(3268), {}, address).diagnostics,
            "  ... limit of 5 s (velkd.dns.response.maxtime) reached\n");
  ProbeVerdict ntp{1, nullptr, "ntp: \x1b refused"};
  EXPECT_EQ(write(kGlobalCatalog, host(3268), {ntp}).diagnostics, "ntp: \\x1B refused\n");
}

TEST(ControllerFacts, TheClockOfADirectoryIsReadFromItsRootDse) {
  using namespace std::chrono_literals;
  const std::chrono::system_clock::time_point received(1767225694s);
  const auto ahead = [&](const std::string& text) {
    tolk::ADObject rootDse("");
    rootDse["currentTime"] = text;
    return clockAhead(rootDse, received);
  };
  EXPECT_EQ(ahead("20260101000000.0Z"), 93.5);
  for (const char* text : {"", "20260101000000", "2026-01-01Z", "20269999000000.0Z", "\x1b[2JZ"}) {
    EXPECT_EQ(ahead(text), std::nullopt) << text;
  }
}

TEST(ControllerFacts, EachIsOneLineAndASoundControllerHasOne) {
  const std::pair<ControllerFacts, const char*> rows[] = {
      {{}, ""},
      {{.ldapAhead = 0.4, .ntpAhead = -0.02},
       "This clock agrees with dc1 (LDAP +0 s, NTP +0.0 s)\n"},
      {{.ldapAhead = 94.3, .ntpAhead = 93.8},
       "This clock is 94 s ahead of dc1 (LDAP +94 s, NTP +93.8 s); Kerberos refuses 300 s\n"},
      {{.ntpAhead = -1200.04},
       "This clock is 1200 s behind dc1 (NTP -1200.0 s). Kerberos refuses more than 300 s: no "
       "ticket and no bind can be had from this server until the clocks agree\n"},
      {{.ldapAhead = 0.4, .ntpAhead = 5e9},
       "This clock agrees with dc1 (LDAP +0 s, NTP +5000000000 s), whose directory and time "
       "service do not agree\n"},
      {{.ldapTrouble = "no answer\x1b", .kdcTrouble = "silence"},
       "dc1 accepts connections to its LDAP port, but nobody answers there: no answer\\x1B. Reads "
       "and binds will fail for this\n      dc1 accepts connections to port 88, but no KDC answers "
       "there: silence. No ticket can be had from it\n"},
  };
  for (const auto& [facts, text] : rows) {
    std::ostringstream verbose;
    writeFacts(verbose, "dc1", facts);
    EXPECT_EQ(verbose.str(), *text == '\0' ? "" : "      " + std::string(text));
  }
}

}  // namespace
}  // namespace joinscope
