// Networks and servers that are half down: every case says what is wrong and ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "tests/e2e/directory_oracle.h"
#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// Longer than all documented limits of a report together; a run that reaches it hangs.
HostOptions bounded() {
  return {.limit = std::chrono::seconds(90)};
}

std::string resolver(const std::string& address) {
  return "echo 'nameserver " + address +
         "' > /tmp/resolv.e2e; mount --bind /tmp/resolv.e2e /etc/resolv.conf";
}

/// A filter on the domain controller for as long as this lives, for example "tcp dport 389 drop".
HostChange filtered(const Host& dc, const std::string& rule) {
  return HostChange(dc,
                    "nft 'add table inet e2e; add chain inet e2e in { type filter hook input "
                    "priority 0; }; add rule inet e2e in " +
                        rule + "'",
                    "nft delete table inet e2e");
}

/// Limits of one second, so that what waits for them does not wait long.
constexpr const char* kShortLimits =
    "mkdir -p /etc/orvald; touch /etc/orvald/orvald.conf; cp /etc/orvald/orvald.conf "
    "/root/conf.e2e; "
    "printf '%s: 1\\n' velkd.dns.response.maxtime net.connect.timeout net.ntp.timeout "
    "net.discovery.timeout ldap.connect.timeout ldap.search.timeout krb5.kdc.timeout "
    "> /etc/orvald/orvald.conf";

/// A record in the domain's DNS for as long as this lives.
class DnsRecord {
 public:
  DnsRecord(const char* name, const char* type, const char* data) : words_{name, type, data} {
    change("add");
  }
  DnsRecord(const DnsRecord&) = delete;
  DnsRecord& operator=(const DnsRecord&) = delete;
  ~DnsRecord() { change("remove"); }

 private:
  void change(const char* how) const {
    Lab::command({"dns", how, words_[0], words_[1], words_[2]});
  }

  std::array<std::string, 3> words_;
};

class FaultsTest : public testing::Test {
 protected:
  static constexpr const char* kUndoLimits = "cp /root/conf.e2e /etc/orvald/orvald.conf";

  Lab lab;
  HostChange memberLimits{lab.member, kShortLimits, kUndoLimits};
  HostChange guestLimits{lab.guest, kShortLimits, kUndoLimits};
};

TEST_F(FaultsTest, DeadResolverOnTheJoinedHostLeavesTheControllerOfTheJoin) {
  const std::string unresolved =
      "      Can't resolve IP address for dc1.lab.test      \n"
      "Please check your DNS configuration\n";
  const std::string controller = "    Domain Controller: dc1.lab.test\n" + unresolved;
  const HostChange dead = filtered(lab.dc, "udp dport 53 drop");
  const HostChange deadTcp(lab.dc, "nft add rule inet e2e in tcp dport 53 drop", "true");
  const CommandResult diag = lab.member.joinscope({"--diag"}, bounded());
  EXPECT_THAT(diag.out, HasSubstr("WARNING: DNS timeout error.  Check DNS configuration\nor "
                                  "increase the value of velkd.dns.response.maxtime in "
                                  "pellion.conf.\n"));
  EXPECT_THAT(diag.out, HasSubstr("  Testing Active Directory connectivity:\n" + controller));
  EXPECT_THAT(diag.err, HasSubstr("    DNS problem: "));
  EXPECT_EQ(diag.status, 0);

  const CommandResult test = lab.member.joinscope({"--test"}, bounded());
  EXPECT_EQ(test.out,
            "Domain Diagnostics:\n  Domain: lab.test\n    DNS query for: _ldap._tcp.lab.test\n"
            "    DNS query for: _gc._tcp.lab.test\n  Testing Active Directory connectivity:\n"
            "    Global Catalog: dc1.lab.test\n" +
                unresolved + controller);
  EXPECT_EQ(std::count(test.err.begin(), test.err.end(), '\n'), 2);
  EXPECT_THAT(test.err, testing::StartsWith("    DNS problem: "));
  EXPECT_EQ(test.status, 0);
  EXPECT_THAT(lab.member.joinscope({"--test", "-V", "-S", "dc1.lab.test"}, bounded()).err,
              HasSubstr("  ... limit of 1 s (velkd.dns.response.maxtime) reached\n"));
}

TEST_F(FaultsTest, ResolverThatRefusesEndsAtOnceAndUnjoinedHostsGoOn) {
  const CommandResult result = lab.guest.joinscopeAfter(
      resolver("10.99.0.31"), {"-g", "lab.test", "-u", "alice", "-p", "Alice-Pass1", "-V"},
      bounded());
  EXPECT_THAT(result.out, HasSubstr("  Subnet site: \nWARNING! Unable to locate"));
  EXPECT_THAT(result.out, HasSubstr("    Found no SRV records!\n"));
  EXPECT_THAT(result.err, HasSubstr("    DNS problem: "));
  EXPECT_EQ(result.status, 0);
}

TEST_F(FaultsTest, DeadFirstNameServerIsNamedOnceAndTheNextServesTheReport) {
  const CommandResult result = lab.member.joinscopeAfter(
      resolver("10.99.0.250\nnameserver 10.99.0.10"), {"--diag", "-V"}, bounded());
  const std::string line = "DNS server 10.99.0.250 did not answer within 0.5 s";
  const std::size_t first = result.err.find(line);
  EXPECT_NE(first, std::string::npos) << result.err;
  EXPECT_EQ(result.err.find(line, first + 1), std::string::npos);
  EXPECT_THAT(result.err, Not(HasSubstr("DNS problem")));
  EXPECT_EQ(result.status, 0);
}

TEST_F(FaultsTest, UnknownDomainGetsTheAdvice) {
  const CommandResult result = lab.guest.joinscope({"-g", "nosuch.test", "-V"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("    DNS query for: _ldap._tcp.nosuch.test\n"));
  EXPECT_THAT(result.out, HasSubstr("DC service records not in DNS.  Checking configuration "
                                    "file:\n    Found no SRV records!\n"));
  EXPECT_THAT(result.err,
              HasSubstr("    No DC records found in DNS or in orvald.conf.\n"
                        "    Your DNS may be misconfigured!\n"
                        "    If using a Windows DNS, please use NETDIAG on your\n"
                        "    Windows domain controller to diagnose your problem further.\n"
                        "    Otherwise, please add this SRV records to your DNS:\n"
                        "      _ldap._tcp.nosuch.test 0 100 389\n"));
  EXPECT_EQ(result.status, 0);
}

TEST_F(FaultsTest, ControllersOfTheConfigurationFileServeWhereDnsHasNone) {
  const CommandResult result = lab.guest.joinscopeAfter(
      "printf 'dns.dc.conf.test: dc1.lab.test\\n' > /tmp/conf.e2e; "
      "mount --bind /tmp/conf.e2e /etc/orvald/orvald.conf",
      {"-T", "conf.test"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("    Domain Controller: dc1.lab.test\n"
                                    "      ldap:      389/tcp - good\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("Global Catalog:")));
  EXPECT_EQ(result.status, 0);
}

struct LdapFault {
  const char* description;
  const char* rule;
  const char* verdict;
};

TEST_F(FaultsTest, ControllerWithoutItsLdapPortIsGivenUp) {
  const LdapFault faults[] = {
      {"refused", "tcp dport 389 reject with tcp reset", "refused"},
      {"dropped", "tcp dport 389 drop", "timeout"},
      {"pings too", "udp dport 389 drop; add rule inet e2e in tcp dport 389 drop", "timeout"},
  };
  for (const LdapFault& fault : faults) {
    SCOPED_TRACE(fault.description);
    const HostChange filter = filtered(lab.dc, fault.rule);
    const CommandResult result = lab.member.joinscope({"--diag"}, bounded());
    EXPECT_THAT(result.out, HasSubstr("    Domain Controller: dc1.lab.test\n"
                                      "      ldap:      389/tcp - " +
                                      std::string(fault.verdict) +
                                      "\n      No TCP LDAP response, giving up on dc1.lab.test\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("smb:")));
    EXPECT_EQ(result.status, 0);
  }
}

TEST_F(FaultsTest, OtherPortsThatFailAreReportedAndTheControllerKept) {
  const HostChange filter =
      filtered(lab.dc,
               "tcp dport 445 drop; add rule inet e2e in tcp dport 464 reject with tcp reset; add "
               "rule inet e2e in udp dport 389 drop; add rule inet e2e in udp dport 123 drop");
  const CommandResult result = lab.member.joinscope({"--test"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("      ldap:      389/tcp - good\n"
                                    "      ldap:      389/udp - timeout\n"
                                    "      smb:       445/tcp - timeout\n"
                                    "      kdc:        88/tcp - good\n"
                                    "      kpasswd:   464/tcp - refused\n"
                                    "      ntp:       123/udp - timeout\n"));
}

TEST_F(FaultsTest, WherePingsAreLostTheSiteIsAskedOverTcp) {
  const HostChange filter = filtered(lab.dc, "udp dport 389 drop");
  const CommandResult result = lab.member.joinscope({"--diag", "-V"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("  Subnet site: Default-First-Site-Name\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("WARNING! Unable to locate")));
  EXPECT_THAT(result.err, HasSubstr("  dc1.lab.test was asked over TCP: "));
}

TEST_F(FaultsTest, ADeadAddressBesideALiveOneIsTold) {
  const DnsRecord live("two.lab.test", "A", "10.99.0.10");
  const DnsRecord dead("two.lab.test", "A", "10.99.0.250");
  const CommandResult result = lab.guest.joinscope({"-T", "lab.test", "-V", "-S", "two.lab.test"});
  EXPECT_THAT(result.out, Not(HasSubstr("timeout")));
  EXPECT_THAT(result.err, HasSubstr("      two.lab.test has an address that is of no use: "
                                    "10.99.0.250:389 did not accept a connection within 1 s\n"));
}

/// A name that a member can give itself: it counts where the user has chosen it, and with a word.
TEST_F(FaultsTest, AnAliasIsAControllerOnlyWhenItIsNamed) {
  const DnsRecord address("alias.lab.test", "A", "10.99.0.10");
  const HostChange name(lab.dc, "samba-tool spn add ldap/alias.lab.test 'DC1$'",
                        "samba-tool spn delete ldap/alias.lab.test 'DC1$'");
  const CommandResult result =
      lab.member.joinscope({"--computer", "-V", "-S", "alias.lab.test"}, bounded());
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.err, HasSubstr("  The domain has no controller by the name of "
                                    "ldap/alias.lab.test/lab.test: alias.lab.test is taken for "
                                    "one because it was named\n"));
}

/// The LDAP server accepts connections and never answers: it gets nothing to answer to.
// Whoever answers in the controller's place can say that the bind has succeeded, not seal it.
TEST_F(FaultsTest, ABindThatNobodySealedIsNone) {
  Lab::command({"scenario", "fault", "389/tcp", "wrong"});
  const CommandResult auth = lab.member.joinscope({"-A", "-u", "alice", "-p", "Alice-Pass1"});
  Lab::command({"scenario", "fault", "none"});
  EXPECT_EQ(auth.status, 6);
  EXPECT_THAT(auth.out, HasSubstr("ended the bind without sealing the connection"));
}

TEST_F(FaultsTest, ControllerThatIsOpenButMute) {
  const HostChange mute = filtered(lab.dc, "tcp dport { 389, 3268 } tcp flags & psh == psh drop");
  const CommandResult result = lab.member.joinscope({"--diag", "-V"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("      ldap:      389/tcp - good\n"));
  EXPECT_THAT(result.out, HasSubstr("  Domain Controller: dc1.lab.test:389\n"
                                    "    Failed to retrieve root object\n"));
  const std::string rest =
      "no answer within 0.5 s (what an earlier silence has left of ldap.bind.timeout)";
  EXPECT_THAT(result.err,
              testing::AllOf(
                  HasSubstr("    LDAP: Timed out (dc1.lab.test:389): no answer within "
                            "5 s (ldap.bind.timeout)\n"),
                  HasSubstr("      dc1.lab.test accepts connections to its LDAP port, "
                            "but nobody answers there: Timed out (10.99.0.10:389): " +
                            rest),
                  HasSubstr("    LDAP: Timed out (dc1.lab.test:389): " + rest),
                  HasSubstr("  Cannot bind to lab.test: Timed out (dc1.lab.test:389): " + rest)));
  EXPECT_EQ(result.status, 0);
}

TEST_F(FaultsTest, AKdcThatIsOpenButMuteIsToldBesideItsPort) {
  const HostChange mute = filtered(lab.dc, "tcp dport 88 tcp flags & psh == psh drop");
  const CommandResult result = lab.member.joinscope({"--test", "-V"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("      kdc:        88/tcp - good\n"));
  EXPECT_THAT(
      result.err,
      HasSubstr("      dc1.lab.test accepts connections to port 88, but no KDC "
                "answers there: 10.99.0.10:88 gave no answer within 1 s (krb5.kdc.timeout). "));
}

TEST_F(FaultsTest, AClockThatIsWrongIsMeasuredByDirectoryAndTimeService) {
  struct Row {
    const char* shift;
    const char* start;
    const char* time;
    const char* end;
  };
  const Row rows[] = {
      {"-94s", "This clock is 94 s behind dc1.lab.test (LDAP -9", ", NTP -9",
       "; Kerberos refuses 300 s\n"},
      {"+20m", "This clock is 1200 s ahead of dc1.lab.test (LDAP +1", ", NTP +1",
       ". Kerberos refuses more than 300 s: no ticket and no bind can be had"},
      {"+0s", "This clock agrees with dc1.lab.test (LDAP ", ", NTP ", " s)\n"},
  };
  for (const Row& row : rows) {
    const CommandResult result = lab.member.run(
        {"faketime", "-f", row.shift, joinscopeBinary(), "--test", "--verbose"}, bounded());
    EXPECT_THAT(result.err,
                testing::AllOf(HasSubstr(row.start), HasSubstr(row.time), HasSubstr(row.end)));
    EXPECT_THAT(result.out, HasSubstr("      ntp:       123/udp - good\n"));
  }
}

/// Controllers that DNS names and nobody answers for, beside the one that lives.
class DeadControllers {
 public:
  explicit DeadControllers(int count) {
    Lab::command({"scenario", "dead-controllers", std::to_string(count)});
  }
  DeadControllers(const DeadControllers&) = delete;
  DeadControllers& operator=(const DeadControllers&) = delete;
  ~DeadControllers() { Lab::command({"scenario", "dead-controllers", "0"}); }
};

TEST_F(FaultsTest, SilentControllersAreGivenUpAndTheLiveOneIsUsed) {
  const DeadControllers dead(9);
  std::string catalogs = "    Global Catalog: dc1.lab.test\n      gc:       3268/tcp - good\n";
  std::string controllers =
      "    Domain Controller: dc1.lab.test\n      ldap:      389/tcp - good\n"
      "      ldap:      389/udp - good\n      smb:       445/tcp - good\n"
      "      kdc:        88/tcp - good\n      kpasswd:   464/tcp - good\n"
      "      ntp:       123/udp - good\n";
  for (char number = '1'; number <= '9'; ++number) {
    const std::string host = std::string("dead") + number + ".lab.test\n";
    const std::string givenUp = "      No TCP LDAP response, giving up on " + host;
    catalogs.append("    Global Catalog: " + host);
    catalogs.append("      gc:       3268/tcp - timeout\n" + givenUp);
    controllers.append("    Domain Controller: " + host);
    controllers.append("      ldap:      389/tcp - timeout\n" + givenUp);
  }
  EXPECT_EQ(lab.member.joinscope({"--test"}, bounded()),
            (CommandResult{0,
                           "Domain Diagnostics:\n  Domain: lab.test\n"
                           "    DNS query for: _ldap._tcp.lab.test\n"
                           "    DNS query for: _gc._tcp.lab.test\n"
                           "  Testing Active Directory connectivity:\n" +
                               catalogs + controllers,
                           ""}));
  const CommandResult diag = lab.member.joinscope({"--diag"}, bounded());
  EXPECT_THAT(diag.out, HasSubstr(controllers));
  EXPECT_THAT(diag.out, HasSubstr("  Site: Paris\n")) << "the binding found no live controller";
}

TEST_F(FaultsTest, ZonesComeFromTheDomainWhenTheGlobalCatalogIsDown) {
  const std::string zones = expectedZones(lab.member);
  for (const char* rule : {"tcp dport 3268 reject with tcp reset", "tcp dport 3268 drop"}) {
    SCOPED_TRACE(rule);
    const HostChange filter = filtered(lab.dc, rule);
    std::string expected = zones;
    expected.insert(expected.find("  Pellion"), "  Cannot connect to GC, trying DC...\n");
    const CommandResult result = lab.member.joinscope({"--diag", "-S", "dc1.lab.test"}, bounded());
    EXPECT_THAT(result.out, HasSubstr(expected + "\nDomain RIDs"));
    EXPECT_EQ(result.status, 0);
  }
}

/// The catalog answers, and falls silent while the zones are on their way page by page.
TEST_F(FaultsTest, ACatalogThatStallsBetweenPagesLeavesNoHalfListing) {
  constexpr int kZones = 60;
  const std::string admin =
      "export KRB5CCNAME=/tmp/e2e_admin; klist -s || echo 'Passw0rd!' | kinit administrator "
      ">/dev/null; seq -f ";
  const std::string to = std::to_string(kZones);
  const HostChange many(
      lab.member,
      admin +
          "'dn: CN=many%g,OU=Zones,DC=lab,DC=test#objectClass: container#displayName: "
          "$OrvaldZone7##' 1 " +
          to + " | tr '#' '\\n' | ldapadd -Q -Y GSSAPI -H ldap://dc1.lab.test >/dev/null",
      admin + "'CN=many%g,OU=Zones,DC=lab,DC=test' 1 " + to +
          " | ldapdelete -Q -Y GSSAPI -H ldap://dc1.lab.test");
  const std::string onePerPage = "echo 'tolkd.paged.search.max: 1' >> /etc/orvald/orvald.conf";
  const HostChange pages(lab.member, onePerPage, "true");
  // More than ports and bind take, less than all pages.
  const HostChange filter = filtered(lab.dc, "tcp dport 3268 quota over 8 kbytes drop");
  const CommandResult result =
      lab.member.joinscope({"--diag", "-V", "-S", "dc1.lab.test"}, bounded());
  EXPECT_THAT(result.out, HasSubstr("\nRetrieving zone data from lab.test\n\nDomain RIDs"));
  EXPECT_THAT(result.err, HasSubstr("\n    Cannot read zone data: "));
  EXPECT_EQ(result.status, 0);
}

TEST_F(FaultsTest, ClosedOutputEndsTheRun) {
  const CommandResult result =
      lab.member.shell("{ " + joinscopeBinary() + " --diag; echo $? >&2; } | head -n 1", bounded());
  EXPECT_EQ(result, (CommandResult{0, "joinscope (Orvald 5.7.0-207)\n", "6\n"}));
}

struct BadConfiguration {
  const char* description;
  const char* make;  // writes /tmp/conf.e2e
  const char* firstLine;
};

TEST_F(FaultsTest, AbsurdConfigurationFiles) {
  const BadConfiguration files[] = {
      {"10 MB of junk without a colon", "head -c 10000000 /dev/zero | tr '\\0' x > /tmp/conf.e2e",
       "No properties available -- no permission?\n"},
      {"10 MB of properties", "seq 1 400000 | sed 's/.*/some.key.&: value &/' > /tmp/conf.e2e",
       "some.key.1: value 1\n"},
      {"NULs", "printf 'a\\0b: c\\0d\\nsane: yes\\n' > /tmp/conf.e2e", ""},
      {"bytes that are no UTF-8", "printf 'k: \\377\\376\\n' > /tmp/conf.e2e", "k: \\xFF\\xFE\n"},
      {"a directory", "rm -rf /tmp/conf.e2e; mkdir /tmp/conf.e2e",
       "No properties available -- no permission?\n"},
      {"a pipe that nobody writes", "rm -rf /tmp/conf.e2e; mkfifo /tmp/conf.e2e",
       "No properties available -- no permission?\n"},
  };
  for (const BadConfiguration& file : files) {
    SCOPED_TRACE(file.description);
    const CommandResult result = lab.member.joinscopeAfter(
        std::string("rm -rf /tmp/conf.e2e; ") + file.make +
            "; mount -t tmpfs none /etc/orvald; mv /tmp/conf.e2e /etc/orvald/orvald.conf",
        {"--config"}, bounded());
    EXPECT_THAT(result.out, testing::StartsWith(file.firstLine));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
  }
}

/// Another name and address of dc1, where pings are answered and connections accepted, but nothing
/// is read, or nothing more after the bind; the first address answers no pings, so that it is the
/// second choice.
TEST_F(FaultsTest, AMuteControllerLeavesItsPlaceToTheNext) {
  const DnsRecord address("mute.lab.test", "A", "10.99.0.12");
  const DnsRecord service("_ldap._tcp.dc._msdcs.lab.test", "SRV", "0 100 389 mute.lab.test");
  const std::pair<const char*, const char*> rows[] = {
      {"add rule ip e2e in ct original ip daddr 10.99.0.12 tcp flags & psh == psh drop",
       "no answer within 5 s (ldap.bind.timeout)\n"},
      {"add chain ip e2e out { type filter hook output priority 0; }; add rule ip e2e out ct "
       "original ip daddr 10.99.0.12 tcp sport 389 quota over 6000 bytes drop",
       "within 8 s (the join count's limit of a search)\n"},
  };
  for (const auto& [rule, reason] : rows) {
    SCOPED_TRACE(rule);
    const HostChange twin(
        lab.dc,
        "samba-tool spn add ldap/mute.lab.test/lab.test 'DC1$'; ip addr add 10.99.0.12/24 dev "
        "eth0; "
        "nft 'add table ip e2e; add chain ip e2e nat { type nat hook prerouting priority dstnat; "
        "}; add rule ip e2e nat ip daddr 10.99.0.12 dnat to 10.99.0.10; "
        "add chain ip e2e in { type filter hook input priority 0; }; "
        "add rule ip e2e in ct original ip daddr 10.99.0.10 udp dport 389 drop; " +
            std::string(rule) + "'",
        "nft delete table ip e2e; ip addr del 10.99.0.12/24 dev eth0; "
        "samba-tool spn delete ldap/mute.lab.test/lab.test 'DC1$'");
    // Time enough for the second choice to be the first that answers, whatever else runs here.
    const CommandResult result = lab.member.joinscopeAfter(
        "sed 's/^net.discovery.timeout.*/net.discovery.timeout: 20/' /etc/orvald/orvald.conf > "
        "/tmp/conf.e2e; mount --bind /tmp/conf.e2e /etc/orvald/orvald.conf",
        {"--joinedcount", "-V"}, bounded());
    EXPECT_THAT(result.err, testing::AllOf(HasSubstr("  mute.lab.test is passed over: Timed out "
                                                     "(mute.lab.test:389): no "),
                                           HasSubstr(reason)));
    EXPECT_THAT(result.out, HasSubstr("\nLAB.TEST\n  Zone Joins:        6\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("Unreachable Domains")));
    EXPECT_EQ(result.status, 0);
  }
  // It may have gone over to the one that is not there any more.
  Lab::command({"daemon", "stop"});
  Lab::command({"daemon", "start"});
}

}  // namespace
}  // namespace joinscope::test
