// Join counts of the lab's forest against independent searches, and domains that cannot be counted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class JoinsTest : public testing::Test {
 protected:
  // Matching objects, as ldapsearch counts them.
  std::string count(const std::string& filter) {
    const std::string number = lab.member.must(
        "kinit -k 'HOST1$' -c /tmp/joins_cc && KRB5CCNAME=/tmp/joins_cc ldapsearch -LLL -Q -Y "
        "GSSAPI "
        "-H ldap://dc1.lab.test -E pr=1000/noprompt -b DC=lab,DC=test '" +
        filter + "' 1.1 | grep -c '^dn:' || true");
    return number.substr(0, number.find('\n'));
  }

  Lab lab;
};

/// Shell that changes how one computer was joined, and the flags of another that is in a zone.
std::string changed(const std::string& kind, const std::string& flags) {
  return "ldbmodify -H /var/lib/samba/private/sam.ldb >/dev/null <<'END'\n"
         "dn: CN=AUTO2,OU=Fleet,DC=lab,DC=test\nchangetype: modify\n"
         "replace: operatingSystemServicePack\noperatingSystemServicePack: Orvald 5.7.0 " +
         kind +
         "\n\ndn: CN=ZWEB1,OU=Fleet,DC=lab,DC=test\nchangetype: modify\n"
         "replace: userAccountControl\nuserAccountControl: " +
         flags + "\nEND\n";
}

TEST_F(JoinsTest, TotalsAreThoseOfIndependentSearches) {
  // More of one kind than of the next, and another flag than that of a disabled account.
  const HostChange odd(lab.dc, changed("oem", "4097"), changed("auto", "4096"));
  const CommandResult run = lab.member.joinscope({"--joinedcount"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const std::string kind = "(&(objectCategory=computer)(operatingSystemServicePack=Orvald ";
  const std::pair<const char*, std::string> rows[] = {
      {"  Total Zones:    ",
       "(&(objectClass=container)(displayName=$OrvaldZone*)"
       "(!(description=OrvaldLayout:orv_v9*)))"},
      {"  Total Joins:    ", "(&(keywords=OrvaldZoneComputer)(managedBy=*))"},
      {"  Total Orphans:  ", "(&(keywords=OrvaldZoneComputer)(!(managedBy=*)))"},
      {"  Total Auto Zone Joins:   ", kind + "* auto))"},
      {"  Total Sprig Joins:       ", kind + "* sprig))"},
      {"  Total OEM Joins:         ", kind + "* oem))"},
      {"  Total Unknown Joins:     ", kind + "6* cloud))"},
      {"  Total Zone Joins:        ", kind + "* zone))"},
  };
  for (const auto& [label, filter] : rows) {
    EXPECT_THAT(run.out, HasSubstr(label + count(filter) + "\n"));
  }
  EXPECT_THAT(run.out, AllOf(HasSubstr("\nGlobal\n  Joins:    2\n  Disabled: 1\n  Orphans:  1\n"),
                             HasSubstr("  Total Disabled: 2\n"),
                             HasSubstr("\nLAB.TEST\n  Zone Joins:        6\n"),
                             HasSubstr("\nTotal Joins (All Orvald Versions) = 12\n\n"),
                             Not(HasSubstr("Unreachable"))));
}

TEST_F(JoinsTest, WithoutBindingOrDomainsNothingIsCounted) {
  const std::string introduction =
      "\nCounting joins.\nThis may take several minutes depending on domain topology...\n";
  const std::string failure = introduction + "\nUnable to retrieve an authenticated binding\n";
  EXPECT_EQ(lab.guest.joinscope({"--joinedcount"}), (CommandResult{3, failure, ""}));
  const HostChange stopped(lab.member, "kill -STOP $(pidof velkd)", "kill -CONT $(pidof velkd)");
  const CommandResult run = lab.member.joinscope({"--joinedcount"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.out, failure);
}

TEST_F(JoinsTest, DeadDomainsAreListedAndTheOthersCounted) {
  Lab::command({"scenario", "dead-domains", "3"});
  lab.member.must("kinit -k 'HOST1$' -c /tmp/joins_cc");
  const CommandResult run = lab.member.run(
      {JOINSCOPE_JOIN_STATS_CALLER, "FILE:/tmp/joins_cc", "gone1.lab.test", "lab.test", "lab.test",
       "gone2.lab.test", "nowhere.test", "lab.test", "gone3.lab.test"});
  Lab::command({"node-down", "gone"});
  EXPECT_THAT(run.out,
              testing::MatchesRegex("lab.test 6\nlab.test 6\nlab.test 6\ndisabled 6\n"
                                    "gone1.lab.test: finding a domain controller: [^\n]*\n"
                                    "gone2.lab.test: finding a domain controller: [^\n]*\n"
                                    "nowhere.test: finding a domain controller: [^\n]*\n"
                                    "gone3.lab.test: finding a domain controller: [^\n]*\n"));
}

TEST_F(JoinsTest, ControllerThatFallsSilentIsAProblem) {
  // What binding and the first pages take passes; then the controller's answers stop.
  const HostChange silent(lab.dc,
                          "nft add table inet joins; nft 'add chain inet joins out { type filter "
                          "hook output priority 0; }'; nft add rule inet joins out tcp sport 389 "
                          "ip daddr 10.99.0.21 quota over 6000 bytes drop",
                          "nft delete table inet joins");
  const CommandResult run = lab.member.joinscope({"--joinedcount"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, AllOf(HasSubstr("  Total Zones:    0\n"),
                             HasSubstr("\nUnreachable Domains\n-------------------\n\n"
                                       "  Domain: LAB.TEST\n  Reason: reading "),
                             HasSubstr("within 8 s (the join count's limit of a search)\n")));
}

}  // namespace
}  // namespace joinscope::test
