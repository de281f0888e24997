// What the host knows of its join: the status report and the values for scripts, with the daemon up
// and down, without a network, and with settings that are missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A line of shell that puts `value` in the place of a join setting; "" makes it a missing one.
std::string setting(const std::string& name, const std::string& value) {
  const std::string file = "/tmp/e2e.kset." + name;
  return "printf %s '" + value + "' >" + file + "; mount --bind " + file + " /var/orvald/kset." +
         name;
}

/// What is said of a setting that is missing while others are there.
std::string halfWritten(const std::string& name) {
  return "The join setting /var/orvald/kset." + name +
         " is missing or empty, while others of the join are there. Run velkd adopt, or join this "
         "computer to the domain again.\n";
}

class StatusTest : public testing::Test {
 protected:
  Lab lab;

  /// The report's lines up to the preferred site.
  std::string join() const {
    return "Local host name:   host1\n"
           "Joined to domain:  lab.test\n"
           "Joined as:         host1.lab.test\n"
           "Pre-win2K name:    HOST1\n"
           "Current DC:        dc1.lab.test\n"
           "Preferred site:    Default-First-Site-Name\n";
  }

  /// pwdLastSet of the host, by ldapsearch and date.
  std::string passwordLastSet() const {
    return lab.member.must(
        "export KRB5CCNAME=/tmp/status_ccache; klist -s || kinit -k 'HOST1$'; "
        "ticks=$(ldapsearch -Q -Y GSSAPI -LLL -H ldap://dc1.lab.test -b dc=lab,dc=test "
        "'(sAMAccountName=HOST1$)' pwdLastSet | sed -n 's/^pwdLastSet: //p'); "
        "date -d @$((ticks / 10000000 - 11644473600)) '+%Y-%m-%d %T %Z'");
  }
};

/// The daemon is down for the scope.
class NoDaemon {
 public:
  NoDaemon() { Lab::command({"daemon", "stop"}); }
  NoDaemon(const NoDaemon&) = delete;
  NoDaemon& operator=(const NoDaemon&) = delete;
  ~NoDaemon() { Lab::command({"daemon", "start"}); }
};

TEST_F(StatusTest, JoinedHostWithItsDaemon) {
  const std::string report =
      join() + "Zone:              Auto Zone\nLast password set: " + passwordLastSet() +
      "Orvald mode:       connected\n";
  EXPECT_EQ(lab.member.joinscope({}), (CommandResult{0, report, ""}));
  EXPECT_EQ(lab.member.joinscope({"--all", "-S", "dc1.lab.test"}), (CommandResult{0, report, ""}));
  EXPECT_EQ(lab.member.joinscope({"--mode"}), (CommandResult{0, "connected\n", ""}));
}

TEST_F(StatusTest, WithoutTheDaemonAndWithoutANetwork) {
  const NoDaemon down;
  const std::string report = join() + "Zone:              Auto Zone\nOrvald mode:       down\n";
  EXPECT_EQ(lab.member.joinscope({"--all"}), (CommandResult{0, report, ""}));
  EXPECT_EQ(lab.member.joinscope({"--mode"}), (CommandResult{3, "down\n", ""}));
  EXPECT_EQ(lab.member.joinscope({"--sysinfo=dns"}),
            (CommandResult{3, "System Diagnostic\n", "  Failed to get sysinfo from velkd.\n"}));
  const CommandResult verbose = lab.member.joinscope({"--sysinfo=dns", "-V"});
  EXPECT_EQ(verbose.status, 3);
  EXPECT_THAT(verbose.err,
              testing::EndsWith("  Failed to get sysinfo from velkd.\n  Reason: Cannot reach velkd "
                                "at /var/orvald/daemon/velkd.sock: No such file or directory\n"));
  const CommandResult diag = lab.member.joinscope({"--diag"});
  EXPECT_EQ(diag.err, "  Could not communicate with velkd\n  Failed to get sysinfo from velkd.\n");
  EXPECT_THAT(diag.out, testing::EndsWith("\nPellion Orvald Status\n  Not running\n\n\n"));
  const HostChange away(lab.member, "ip route add unreachable 10.99.0.10/32",
                        "ip route del unreachable 10.99.0.10/32");
  EXPECT_EQ(lab.member.joinscope({"--all"}), (CommandResult{0, report, ""}));
}

TEST_F(StatusTest, ValuesForScripts) {
  struct Case {
    const char* option;
    const char* setting;  ///< that it reads; null: the daemon has the value
    const char* value;
    CommandResult missing;
  };
  const Case cases[] = {
      {"--domain", "domain", "lab.test\n", {10, "", halfWritten("domain")}},
      {"--name", "hostname", "host1.lab.test\n", {10, "", halfWritten("hostname")}},
      {"--site", "site", "Default-First-Site-Name\n", {10, "", ""}},
      {"--zone", "zone", "Auto Zone\n", {10, "", ""}},
      {"--zonedn", "zone", "DC=lab,DC=test\n", {10, "", ""}},
      {"--gc", "globalcatalog", "dc1.lab.test\n", {6, "", "Not connected to any GC.\n"}},
      {"--server", nullptr, "dc1.lab.test\n", {}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.option);
    EXPECT_EQ(lab.member.joinscope({row.option}), (CommandResult{0, row.value, ""}));
    EXPECT_EQ(lab.guest.joinscope({row.option}), (CommandResult{10, "", ""}));
    if (row.setting == nullptr) continue;
    EXPECT_EQ(lab.member.joinscopeAfter(setting(row.setting, ""), {row.option}), row.missing);
  }
}

TEST_F(StatusTest, EverySettingMissingInTurn) {
  struct Case {
    const char* setting;
    const char* line;     ///< of the report
    const char* missing;  ///< what stands there instead
  };
  const Case cases[] = {
      {"prew2khostname", "Pre-win2K name:    HOST1\n", ""},
      {"site", "Preferred site:    Default-First-Site-Name\n",
       "Preferred site:    <unavailable>\nSubnet site:       Default-First-Site-Name\n"},
      {"subnetsite", "", ""},
      {"zone", "Zone:              Auto Zone\n", "Zone:              <unavailable>\n"},
      {"schema", "Zone:              Auto Zone\n", "Zone:              lab.test/\n"},
      {"globalcatalog", "", ""},
      {"domaincontroller", "", ""},
  };
  const std::string whole = lab.member.joinscope({}).out;
  for (const Case& row : cases) {
    SCOPED_TRACE(row.setting);
    std::string expected = whole;
    const std::string line = row.line;
    const std::size_t at = expected.find(line);
    ASSERT_NE(at, std::string::npos) << whole;
    expected.replace(at, line.size(), row.missing);
    EXPECT_EQ(lab.member.joinscopeAfter(setting(row.setting, ""), {}),
              (CommandResult{0, expected, ""}));
  }
  for (const char* name : {"domain", "hostname"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(lab.member.joinscopeAfter(setting(name, ""), {}),
              (CommandResult{10, "Not joined to any domain\n", halfWritten(name)}));
  }
  // Without its identifier nobody can ask for the host's own object.
  EXPECT_EQ(lab.member.joinscopeAfter(setting("hostsid", ""), {"--mode"}),
            (CommandResult{4, "<unavailable>\n", halfWritten("hostsid")}));
}

TEST_F(StatusTest, OneReleaseOfAllPrograms) {
  const std::string release = "5.7.0-207";
  EXPECT_EQ(lab.member.joinscope({"-x"}),
            (CommandResult{0,
                           "joinscope (Orvald " + release +
                               ")\nPellion Infrastructure Services Version " + release + "\n",
                           ""}));
  EXPECT_EQ(lab.member.must(daemonBinary() + " --version"), "velkd (Orvald " + release + ")\n");
}

TEST_F(StatusTest, ZoneLineOfEverySchema) {
  const HostChange guid(lab.member, "touch /var/orvald/kset.zoneguid",
                        "rm /var/orvald/kset.zoneguid");
  struct Case {
    const char* schema;
    std::string zone;
    const char* expected;
  };
  const Case cases[] = {
      {"auto", "DC=lab,DC=test", "Auto Zone"},
      {"null", "DC=lab,DC=test", "NULL"},
      {"orv_v1_0", "CN=Sales\\, EMEA,OU=Zones,DC=lab,DC=test", "Sales, EMEA"},
      {"orv_v1_0", "CN=First,OU=Servers,DC=lab,DC=test", "First"},
      {"orv_v1_0", "CN=Box,OU=Zones,DC=lab,DC=test", "<unavailable>"},
      {"orv_v1_0", "CN=No such zone,DC=lab,DC=test", "<unavailable>"},
      {"orv_v2_0", "CN=Paris,CN=Global,OU=Zones,DC=lab,DC=test", "lab.test/Zones/Global/Paris"},
      {"orv_v2_0", "no name", "<unavailable>"},
      {"orv_r2", "CN=Zürich,OU=Büro,OU=Zones,DC=lab,DC=test", "lab.test/Zones/Büro/Zürich"},
      {"sfu_v3_0", "CN=NIS,OU=Zones,DC=lab,DC=test", "lab.test/Zones/NIS"},
      {"sfu_v3_0v1", "CN=Old NIS/YP,OU=Servers,DC=lab,DC=test",
       "CN=Old NIS/YP,OU=Servers,DC=lab,DC=test{1234}"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.schema + (" " + row.zone));
    const std::string change = setting("schema", row.schema) + "; " + setting("zone", row.zone) +
                               "; " + setting("zoneguid", "{1234}");
    EXPECT_THAT(lab.member.joinscopeAfter(change, {}).out,
                HasSubstr("\nZone:              " + std::string(row.expected) + "\n"));
    const bool known = row.expected != std::string("<unavailable>");
    EXPECT_EQ(lab.member.joinscopeAfter(change, {"--zone"}),
              (known ? CommandResult{0, std::string(row.expected) + "\n", ""}
                     : CommandResult{10, "", ""}));
  }
  EXPECT_THAT(
      lab.member.joinscopeAfter(setting("schema", "null"), {"--diag", "-S", "dc1.lab.test"}).out,
      Not(HasSubstr("Domain RIDs in forest:")));
}

TEST_F(StatusTest, UnjoinedHost) {
  EXPECT_EQ(lab.guest.joinscope({}), (CommandResult{10, "Not joined to any domain\n", ""}));
  EXPECT_EQ(lab.guest.joinscope({"--mode"}), (CommandResult{10, "", ""}));
  EXPECT_EQ(lab.guest.joinscope({"-y", "dns"}),
            (CommandResult{10, "System Diagnostic\n  Not joined to any domain\n", ""}));
}

}  // namespace
}  // namespace joinscope::test
