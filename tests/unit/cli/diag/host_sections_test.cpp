// The section about addresses and names.
#include "cli/diag/host_sections.h"

#include <gtest/gtest.h>

#include <sstream>

namespace joinscope {
namespace {

TEST(IpSection, Text) {
  struct Case {
    const char* what;
    std::vector<ReverseNames> answers;  // of 192.0.2.7 and on
    const char* longName;
    std::string text;  // behind the short name
    const char* diagnostics;
  };
  const std::string address = "  Local IP Address: 192.0.2.7\n";
  const Case cases[] = {
      {"one of two addresses has no record: no fall-back line",
       {{{"web7.lab.test"}, {}}, {}},
       "",
       address + "  FQDN host name:web7.lab.test\n"
                 "  Local IP Address: 192.0.2.8\n"
                 "    Not found in DNS!Make sure it is in Reverse Lookup Zone.\n",
       ""},
      {"two names print two lines, an empty one none, control characters are escaped",
       {{{"a.lab.test", "", "b\x1b[2J.lab.test"}, {}}},
       "",
       address + "  FQDN host name:a.lab.test\n"
                 "  FQDN host name:b\\x1B[2J.lab.test\n",
       ""},
      {"silent DNS is told for each address and is not a missing record",
       {{{}, "no answer within 5 s"}},
       "web7.lab.test",
       address + "WARNING: DNS timeout error.  Check DNS configuration\n"
                 "or increase the value of velkd.dns.response.maxtime in pellion.conf.\n"
                 "  FQDN host name:web7.lab.test\n",
       "    no answer within 5 s\n"},
      {"a record without a name is neither missing nor a name",
       {{{""}, {}}},
       "web7",
       address + "  FQDN host name:web7 (domain missing?)\n",
       ""},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    IpFacts facts{.shortName = "web7", .interfaceProblem = {}, .addresses = {}};
    for (std::size_t i = 0; i < row.answers.size(); ++i) {
      facts.addresses.push_back("192.0.2." + std::to_string(7 + i));
    }
    std::ostringstream out;
    std::ostringstream verbose;
    const auto namesOf = [&](std::size_t i) {
      EXPECT_TRUE(out.str().ends_with("  Local IP Address: " + facts.addresses[i] + '\n'));
      return row.answers[i];
    };
    writeIpSection(out, facts, {namesOf, [&row] { return row.longName; }}, verbose);
    EXPECT_EQ(out.str(), "IP Diagnostics\n  Local host name: web7\n" + row.text);
    EXPECT_EQ(verbose.str(), row.diagnostics);
  }
}

TEST(IpSection, InterfacesThatCannotBeListedLeaveTheNameLines) {
  const IpFacts facts{.shortName = "web7", .interfaceProblem = "getifaddrs: no", .addresses = {}};
  std::ostringstream out;
  std::ostringstream verbose;
  writeIpSection(out, facts, {{}, [] { return "web7"; }}, verbose);
  EXPECT_EQ(out.str(),
            "IP Diagnostics\n  Local host name: web7\n  FQDN host name:web7 (domain missing?)\n");
  EXPECT_EQ(verbose.str(), "      Problem retrieving IP addresses: getifaddrs: no\n");
}

}  // namespace
}  // namespace joinscope
