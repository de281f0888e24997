// The report on a healthy forest, compared line by line with what uname, dig, ldapsearch and adcli
// say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/directory_oracle.h"
#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kVersion = "joinscope (Orvald 5.7.0-207)\n";
constexpr const char* kCatalogGood =
    "    Global Catalog: dc1.lab.test\n"
    "      gc:       3268/tcp - good\n";
constexpr const char* kControllerGood =
    "    Domain Controller: dc1.lab.test\n"
    "      ldap:      389/tcp - good\n"
    "      ldap:      389/udp - good\n"
    "      smb:       445/tcp - good\n"
    "      kdc:        88/tcp - good\n"
    "      kpasswd:   464/tcp - good\n"
    "      ntp:       123/udp - good\n";
constexpr const char* kForest = "  Forest Name: lab.test\n";
constexpr const char* kTesting = "  Testing Active Directory connectivity:\n";
constexpr const char* kNoSite =
    "WARNING! Unable to locate computer's subnet site in Active Directory.\n"
    "Ask your Active Directory administrator to add this computer's subnet\n"
    "to the appropriate site.\n";

// Behind the domain section; those about names in the forest are empty.
constexpr const char* kUnjoinedSections =
    "\n\n"
    "Computer Account Diagnostics\n  Not joined to any domain\n\n"
    "System Diagnostic\n  Not joined to any domain\n\n"
    "\n"
    "Pellion Orvald Status\n  Not joined to any domain\n\n\n";

class DiagTest : public testing::Test {
 protected:
  Lab lab;

  /// The domain section as the lab's one controller makes it, up to the sites.
  std::string firstPass(const std::string& site) const {
    return "Domain Diagnostics\n  Domain: lab.test\n  Subnet site: " + site +
           "\n    DNS query for: _ldap._tcp.lab.test\n    Found SRV records:\n"
           "      dc1.lab.test:389\n" +
           kTesting + kControllerGood + expectedController(lab.member, "dc1.lab.test:389") +
           kForest;
  }
  std::string secondPass() const {
    return std::string("    DNS query for: _gc._tcp.lab.test\n") + kTesting + kCatalogGood +
           expectedController(lab.member, "dc1.lab.test:3268") + kForest;
  }
};

TEST_F(DiagTest, JoinedHostWithTheMachineAccount) {
  const CommandResult result = lab.member.joinscope({"--diag"});
  // What the daemon says of itself is as it comes; all around it is known.
  const std::size_t daemon = result.out.find("System Diagnostic\n");
  ASSERT_NE(daemon, std::string::npos) << result;
  EXPECT_EQ(result.out.substr(0, daemon),
            kVersion + std::string("\n") + expectedHostSections(lab.member) +
                firstPass(siteByAdcli(lab.member)) + secondPass() + expectedSites(lab.member) +
                expectedZones(lab.member) + "\n" + expectedRanges(lab.member) + "\n" +
                expectedComputerAccount(lab.member) + "\n");
  EXPECT_THAT(result.out.substr(daemon),
              testing::AllOf(testing::StartsWith("System Diagnostic\n  DNS\n"),
                             testing::EndsWith("\n\n\nPellion Orvald Status\n"
                                               "  Running in connected mode\n\n\n")));
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(DiagTest, UnjoinedHostWithUserAndPassword) {
  const std::string site = siteByAdcli(lab.guest);
  const CommandResult result =
      lab.guest.joinscope({"-g", "lab.test", "-u", "alice", "-p", "Alice-Pass1"});
  EXPECT_EQ(result.out, kVersion + std::string("\n") + expectedHostSections(lab.guest) +
                            firstPass(site) + (site.empty() ? kNoSite : "") + secondPass() +
                            expectedSites(lab.member) + expectedZones(lab.member) +
                            kUnjoinedSections);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(DiagTest, UserNamesOfEveryForm) {
  const std::vector<std::vector<std::string>> users{
      {"-u", "alice@lab.test", "-p", "Alice-Pass1"},
      {"-u", "LAB\\alice", "-p", "Alice-Pass1"},
      {"-u", "ALICE@LAB.TEST", "-p", "Alice-Pass1"},
      {"-u", "ünal.öz", "-p", "Gizli-Şifre9"},
      {"-p", "Passw0rd!"},  // administrator
  };
  const std::string sites = expectedSites(lab.member);
  for (const std::vector<std::string>& user : users) {
    SCOPED_TRACE(user[1]);
    std::vector<std::string> arguments{"-g", "lab.test"};
    arguments.insert(arguments.end(), user.begin(), user.end());
    EXPECT_THAT(lab.guest.joinscope(arguments).out, HasSubstr(sites));
  }
}

TEST_F(DiagTest, PasswordFromThePromptIsReadFromStandardInputWithoutATerminal) {
  const CommandResult result =
      lab.guest.joinscope({"-g", "lab.test", "-u", "alice"}, {.input = "Alice-Pass1\n"});
  EXPECT_THAT(result.out, HasSubstr(expectedSites(lab.member)));
  EXPECT_THAT(result.err, HasSubstr("Active Directory password: "));
}

TEST_F(DiagTest, NamedServerSkipsDnsAndTheSecondPass) {
  const CommandResult result = lab.member.joinscope({"--diag", "-V", "-S", "DC1.lab.test"});
  EXPECT_THAT(result.out, HasSubstr("  Domain: lab.test\n"
                                    "  Subnet site: Default-First-Site-Name\n"
                                    "    Found SRV records:\n      dc1.lab.test:389\n" +
                                    std::string(kTesting) + kCatalogGood + kControllerGood +
                                    expectedController(lab.member, "dc1.lab.test:3268") +
                                    expectedController(lab.member, "dc1.lab.test:389") + kForest +
                                    expectedSites(lab.member) + expectedZones(lab.member)));
  EXPECT_THAT(result.out, Not(HasSubstr("DNS query for:")));
  EXPECT_THAT(result.err, HasSubstr("  DC service record is given on command line:\n"));
  EXPECT_THAT(result.err,
              HasSubstr("  Retrieving site information from site='Default-First-Site-Name'"));
}

TEST_F(DiagTest, VerboseStepsOfTheMachineAccount) {
  const HostChange site(lab.dc, "samba-tool sites subnet set-site 10.99.0.0/26 Paris",
                        "samba-tool sites subnet set-site 10.99.0.0/26 Default-First-Site-Name");
  const CommandResult result = lab.member.joinscope({"--diag", "--verbose"});
  EXPECT_THAT(result.out, HasSubstr("  Locating domain controllers for lab.test from DNS\n"
                                    "    Found SRV records:\n      dc1.lab.test:389\n"));
  const char* steps[] = {
      "task: diag\n",
      "  Using machine credentials\n    Using principal name 'HOST1$@LAB.TEST'\n  Binding to "
      "lab.test, cache=",
      "    Retrieving server objects from CN=servers,cn=Paris,CN=Sites,CN=Configuration,"
      "DC=lab,DC=test\n",
      "  Anonymous LDAP bind to dc1.lab.test:389\n    Retrieve DC root object\n",
      "  Locating global catalogs for lab.test from DNS.\n",
      "  Retrieving site data from lab.test\n    Retrieving subnet objects from "
      "CN=Subnets,CN=Sites,CN=Configuration,DC=lab,DC=test\n"};
  std::size_t at = 0;
  for (const char* step : steps) {
    const std::size_t found = result.err.find(step, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << step << result.err;
    at = found;
  }
}

TEST_F(DiagTest, OrdinaryUserBindsWithHisOwnTicketCache) {
  const HostOptions tester{.user = "tester"};
  ASSERT_EQ(lab.member.shell("echo Alice-Pass1 | kinit alice@LAB.TEST", tester).status, 0);
  const std::string before = lab.member.shell("klist", tester).out;
  const CommandResult result = lab.member.joinscope({"--diag", "-V"}, tester);
  EXPECT_THAT(result.out, HasSubstr(expectedSites(lab.member)));
  EXPECT_THAT(result.err, HasSubstr("using user's credential cache: Yes\n"));
  EXPECT_EQ(lab.member.shell("klist", tester).out, before) << "the cache was written to";
  ASSERT_EQ(lab.member.shell("kdestroy", tester).status, 0);
}

TEST_F(DiagTest, PortTestAlone) {
  const std::string expected = std::string(
                                   "Domain Diagnostics:\n  Domain: lab.test\n"
                                   "    DNS query for: _ldap._tcp.lab.test\n"
                                   "    DNS query for: _gc._tcp.lab.test\n") +
                               kTesting + kCatalogGood + kControllerGood;
  EXPECT_EQ(lab.member.joinscope({"--test"}), (CommandResult{0, expected, ""}));
  EXPECT_EQ(lab.guest.joinscope({"--test", "lab.test"}), (CommandResult{0, expected, ""}));
}

TEST_F(DiagTest, ADomainOfAnotherForestIsSearchedInItsOwnConfiguration) {
  Lab::command({"scenario", "second-forest"});
  // The scenario starts the daemon anew; nobody needs to wait for what it gathers.
  const CommandResult result = lab.member.joinscopeAfter(
      "mkdir -p /etc/orvald; touch /etc/orvald/orvald.conf; echo 'join.velkd.wait.time: 1' > "
      "/tmp/conf.e2e; mount --bind /tmp/conf.e2e /etc/orvald/orvald.conf",
      {"--diag=other.test", "-V"});
  Lab::command({"scenario", "second-forest", "off"});
  EXPECT_THAT(result.err,
              HasSubstr("    Retrieving subnet objects from CN=Subnets,CN=Sites,"
                        "CN=Configuration,DC=other,DC=test\n"
                        "    The directory names no subnet there: no site is listed\n"));
}

TEST_F(DiagTest, WithoutJoinAndDomainThereIsNothingToDiagnose) {
  for (const char* task : {"--diag", "--test"}) {
    const CommandResult result = lab.guest.joinscope({task});
    EXPECT_THAT(result.out,
                testing::StartsWith("No domain specified\nSpecify a domain or join the machine to "
                                    "a domain\n\nusage: joinscope [options]\n"));
    EXPECT_EQ(result.status, 7);
  }
}

}  // namespace
}  // namespace joinscope::test
