// The two sections about the host itself.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "cli/diag/host_section.h"
#include "cli/diag/ip_section.h"

namespace joinscope {
namespace {

std::string hostText(const HostFacts& facts) {
  std::ostringstream out;
  writeHostSection(out, facts);
  return out.str();
}

TEST(HostSection, ShowsUnameFieldsInOrder) {
  utsname system{};
  std::strcpy(system.sysname, "Linux");
  std::strcpy(system.nodename, "web7");
  std::strcpy(system.release, "6.1.0-18");
  std::strcpy(system.version, "#1 SMP");
  std::strcpy(system.machine, "x86_64");
  EXPECT_EQ(hostText({.system = system, .osName = "Debian", .osVersion = "12", .onlineCpus = 4}),
            R"(Host Diagnostics
  uname: Linux web7 6.1.0-18 #1 SMP x86_64
  OS: Debian
  Version: 12
  Number of CPUs: 4
)");
}

TEST(HostSection, FailedUnameIsOneWordAndTheSectionGoesOn) {
  EXPECT_EQ(hostText({.system = {}, .osName = "Debian", .osVersion = "12", .onlineCpus = 2}),
            R"(Host Diagnostics
  uname: failed
  OS: Debian
  Version: 12
  Number of CPUs: 2
)");
}

struct IpCase {
  const char* what;
  IpFacts facts;
  const char* text;
  const char* diagnostics;
};

IpFacts ipFacts(std::vector<AddressFacts> addresses, std::string longName) {
  return {.shortName = "web7",
          .interfaceProblem = {},
          .addresses = std::move(addresses),
          .longName = std::move(longName)};
}

std::vector<IpCase> ipCases() {
  std::vector<IpCase> cases;
  cases.push_back({"one of two addresses has no record: no fall-back line",
                   ipFacts({{"192.0.2.7", {"web7.lab.test"}, {}}, {"192.0.2.8", {}, {}}}, ""),
                   "IP Diagnostics\n"
                   "  Local host name: web7\n"
                   "  Local IP Address: 192.0.2.7\n"
                   "  FQDN host name:web7.lab.test\n"
                   "  Local IP Address: 192.0.2.8\n"
                   "    Not found in DNS!Make sure it is in Reverse Lookup Zone.\n",
                   ""});
  cases.push_back({"two names print two lines, an empty one none, control characters are escaped",
                   ipFacts({{"192.0.2.7", {"a.lab.test", "", "b\x1b[2J.lab.test"}, {}}}, ""),
                   "IP Diagnostics\n"
                   "  Local host name: web7\n"
                   "  Local IP Address: 192.0.2.7\n"
                   "  FQDN host name:a.lab.test\n"
                   "  FQDN host name:b\\x1B[2J.lab.test\n",
                   ""});
  cases.push_back({"silent DNS is told for each address and is not a missing record",
                   ipFacts({{"192.0.2.7", {}, "no answer within 5 s"}}, "web7.lab.test"),
                   "IP Diagnostics\n"
                   "  Local host name: web7\n"
                   "  Local IP Address: 192.0.2.7\n"
                   "WARNING: DNS timeout error.  Check DNS configuration\n"
                   "or increase the value of velkd.dns.response.maxtime in pellion.conf.\n"
                   "  FQDN host name:web7.lab.test\n",
                   "    no answer within 5 s\n"});
  cases.push_back({"a record without a name is neither missing nor a name",
                   ipFacts({{"192.0.2.7", {""}, {}}}, "web7"),
                   "IP Diagnostics\n"
                   "  Local host name: web7\n"
                   "  Local IP Address: 192.0.2.7\n"
                   "  FQDN host name:web7 (domain missing?)\n",
                   ""});
  IpFacts noInterfaces = ipFacts({}, "web7");
  noInterfaces.interfaceProblem = "getifaddrs: no";
  cases.push_back({"interfaces that cannot be listed leave the name lines", noInterfaces,
                   "IP Diagnostics\n"
                   "  Local host name: web7\n"
                   "  FQDN host name:web7 (domain missing?)\n",
                   "      Problem retrieving IP addresses: getifaddrs: no\n"});
  return cases;
}

TEST(IpSection, Text) {
  for (const IpCase& c : ipCases()) {
    SCOPED_TRACE(c.what);
    std::ostringstream out;
    std::ostringstream diag;
    writeIpSection(out, c.facts, &diag);
    EXPECT_EQ(out.str(), c.text);
    EXPECT_EQ(diag.str(), c.diagnostics);
    std::ostringstream quiet;
    writeIpSection(quiet, c.facts, nullptr);
    EXPECT_EQ(quiet.str(), c.text);
  }
}

}  // namespace
}  // namespace joinscope
