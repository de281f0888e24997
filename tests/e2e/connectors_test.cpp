// The cloud connectors of a real directory: which one the daemon takes, why others are left out,
// and what is left of them without the directory, without the daemon, and after its violent end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

/// Connectors are searched for, and each step of it is recorded.
constexpr const char* kConfigure =
    "cp /etc/orvald/orvald.conf /root/conf.connectors; printf '%s\\n' 'root.logger.name: DEBUG' "
    "'velkd.legacyzone.mfa.enabled: true' 'velkd.legacyzone.mfa.cloudurl: https://cloud.lab.test' "
    "'velkd.legacyzone.mfa.tenantid: LAB0001' 'cloud.connector.trusted: "
    "OU=Connectors,DC=lab,DC=test' >> /etc/orvald/orvald.conf";
constexpr const char* kRestore =
    "cp /root/conf.connectors /etc/orvald/orvald.conf; "
    "rm -f /root/conf.connectors /var/orvald/kset.cloudconnectors "
    "/var/orvald/.kset.cloudconnectors.new";

constexpr const char* kDone = "Refresh cloud connectors info done";

class ConnectorsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    Lab::command({"scenario", "connectors", "on"});
    Lab::command({"scenario", "connectors", "twins"});
  }
  static void TearDownTestSuite() {
    Lab::command({"scenario", "connectors", "off"});
    Lab::command({"daemon", "start"});
  }

  void start() const {
    lab.member.must("> /var/log/orvald.log");
    Lab::command({"daemon", "start"});
  }
  /// The records since the last call, up to one that contains `text`.
  [[nodiscard]] std::string recordsUpTo(const std::string& text) const {
    return lab.member.must("for i in $(seq 200); do grep -qF '" + text +
                           "' /var/log/orvald.log && break; sleep 0.1; done; "
                           "cat /var/log/orvald.log; > /var/log/orvald.log");
  }
  /// The records of a refresh that the daemon makes now.
  [[nodiscard]] std::string refreshUpTo(const std::string& text) const {
    lab.member.must("> /var/log/orvald.log; kill -HUP $(pgrep -x velkd)");
    return recordsUpTo(text);
  }
  /// The connector in use, the lists and what they hold, one a line.
  [[nodiscard]] std::string lists() const {
    return lab.member.must(
        joinscopeBinary() +
        " --sysinfo orb | sed -n -e 's/^   Current used connector: /current: /p' "
        "-e 's/^   Pellion Connectors //p' -e 's/^        Connector FQDN: "
        "\\(.*\\).lab.test/\\1/p'");
  }

  Lab lab;

 private:
  /// Stopped before the configuration changes, and before it changes back.
  struct Stopped {
    Stopped() { Lab::command({"daemon", "stop"}); }
    Stopped(const Stopped&) = delete;
    Stopped& operator=(const Stopped&) = delete;
    ~Stopped() { Lab::command({"daemon", "stop"}); }
  };
  Stopped before_;
  HostChange settings_{lab.member, kConfigure, kRestore};
  Stopped after_;
};

TEST_F(ConnectorsTest, NearestFirstAndTheUnusableReportedOnce) {
  start();
  const std::string first = recordsUpTo(kDone);
  const std::string refused = "Pellion Agent will not use Pellion Connector ";
  const std::string platform =
      "' to provide connectivity to Pellion Identity Platform URL 'https://cloud.lab.test' because "
      "the value of keywords '";
  const std::string unavailable =
      "Cloud connector 'conn5.lab.test' is unavailable for web proxy is not configured correctly. "
      "services = 2";
  const std::string alien =
      "This cloud connector 'CN=proxy,CN=ALIEN1,OU=Connectors,DC=lab,DC=test' is not a Pellion "
      "Connector, skip it";
  EXPECT_THAT(first, AllOf(HasSubstr(refused + "'conn6.lab.test" + platform +
                                     "pellion.core.cloudurl and pellion.mobile.proxySysId' are "
                                     "missing."),
                           HasSubstr(refused + "'conn7.lab.test" + platform +
                                     "pellion.mobile.proxySysId' are incorrect."),
                           HasSubstr(unavailable), HasSubstr(alien),
                           HasSubstr("they may serve 2 different Pellion Identify Platform "
                                     "instances('tenants').")));
  EXPECT_THAT(first,
              AllOf(HasSubstr("cloud connector (IP:10.99.0.41) into same subnet"),
                    HasSubstr("cloud connector (IP:10.1.1.42) into different subnet"),
                    HasSubstr("Connector(host DC FQDN=conn1.lab.test) in current site same subnet "
                              "will be tried.")));
  EXPECT_THAT(refreshUpTo(kDone), AllOf(HasSubstr(unavailable), Not(HasSubstr(refused))));

  // Tokyo is next to this host's site by the site links; the controller does not name it.
  const std::string usable =
      "current: conn1.lab.test\nin current site:\nconn1\nconn2\nin other site:\nconn4\n";
  const std::string found = lists();
  EXPECT_THAT(found, testing::StartsWith(usable));
  EXPECT_THAT(found, AnyOf(testing::EndsWith("discarded:\ninvalid:\nconn6\nconn7\n"),
                           testing::EndsWith("discarded:\ninvalid:\nconn7\nconn6\n")));
  Lab::command({"daemon", "stop"});
  EXPECT_EQ(lab.member.joinscope({"--orbinfo"}),
            (CommandResult{183, "https://cloud.lab.test,conn1.lab.test:8080\n", ""}));
  // Without the directory the daemon has what was stored.
  lab.member.must("echo 'cloud.connector.refresh.interval: 0' >> /etc/orvald/orvald.conf");
  start();
  const std::string suspended = recordsUpTo("suspended due to the interval being set to 0.");
  EXPECT_THAT(suspended, AllOf(HasSubstr("Current cloud connector is : conn1.lab.test"),
                               Not(HasSubstr("Refresh cloud connector information for"))));
  EXPECT_THAT(lists(), testing::StartsWith(usable));
}

TEST_F(ConnectorsTest, ConfiguredConnectorIsTheOnlyOne) {
  struct Row {
    const char* configured;
    const char* current;  ///< after that
    const char* text;
    const char* last;  ///< text of the refresh
  };
  start();
  ASSERT_THAT(recordsUpTo(kDone), HasSubstr("conn1.lab.test"));
  for (const Row& row : {
           Row{"conn3.lab.test:3128", "conn3.lab.test",
               "Set cloud connector from 'cloud.connector.override' as: conn3.lab.test:3128",
               kDone},
           Row{"alien1.lab.test", "", "Get alien1.lab.test connector info from AD",
               "is not a Pellion Connector"},
           Row{"twin1.lab.test", "twin",
               "Got multiple cloud connectors, will keep only the first one.", kDone},
           Row{"conn3.lab.test:1", "",
               "Got connector as 'conn3.lab.test:3128', not as specified:'conn3.lab.test:1', no "
               "correct connector for MFA now",
               kDone},
           Row{"no name:x", "conn1.lab.test",
               "Invalid settting for 'cloud.connector.override', ignored to use real search result",
               kDone},
       }) {
    SCOPED_TRACE(row.configured);
    lab.member.must(
        "sed -i '/^cloud.connector.override/d' /etc/orvald/orvald.conf; echo "
        "'cloud.connector.override: " +
        std::string(row.configured) + "' >> /etc/orvald/orvald.conf");
    EXPECT_THAT(refreshUpTo(row.last), AllOf(HasSubstr(row.text), HasSubstr(row.last)));
    EXPECT_THAT(lists(), testing::StartsWith("current: " + std::string(row.current) +
                                             (row.current == std::string("twin") ? "" : "\n")));
  }
}

TEST_F(ConnectorsTest, WhatOfTheDirectoryIsAway) {
  start();
  ASSERT_THAT(recordsUpTo(kDone), HasSubstr(kDone));
  const auto without = [this](const std::string& rule) {
    return HostChange(lab.dc,
                      "echo 'table inet t { chain in { type filter hook input priority 0; " + rule +
                          "; }; }' | nft -f -",
                      "nft flush ruleset");
  };
  const std::string before = lists();
  {
    const HostChange catalog = without("tcp dport 3268 reject with tcp reset");
    EXPECT_THAT(refreshUpTo(kDone),
                AllOf(HasSubstr("Failed to search cloud connectors in GC due to LDAP exception"),
                      HasSubstr("Failed to search cloud connectors in GC, trying DC")));
    EXPECT_EQ(lists(), before);
  }
  {
    const HostChange ping = without("udp dport 389 drop");
    EXPECT_THAT(refreshUpTo(kDone), HasSubstr("dc1.lab.test was asked over TCP"));
    EXPECT_EQ(lists(), before);
  }
  Lab::command({"dc", "stop"});
  const std::string records = refreshUpTo("Connection healthy check failed.");
  const std::string after = lists();
  Lab::command({"dc", "start"});
  EXPECT_THAT(records, HasSubstr("Connection healthy check failed."));
  EXPECT_EQ(after, before);
}

TEST_F(ConnectorsTest, StoredTextIsWholeWheneverTheDaemonIsKilled) {
  Lab::command({"scenario", "connectors", "many", "300"});
  start();
  ASSERT_THAT(recordsUpTo(kDone), HasSubstr(kDone));
  const std::string ends = lab.member.must(
      "cd /var/orvald; for i in $(seq 12); do pgrep -x velkd >/dev/null || " + daemonBinary() +
      " >/dev/null 2>&1 & sleep 0.3; kill -HUP $(pgrep -x velkd); "
      "sleep 0.$((15 + i * 2)); kill -KILL $(pgrep -x velkd); "
      "awk -F'|' 'NF != 13 { bad = 1 } END { print (bad ? \"torn\" : NR) }' kset.cloudconnectors; "
      "done | sort | uniq -c");
  EXPECT_THAT(ends, testing::MatchesRegex(" *12 306\n"));
}

}  // namespace
}  // namespace joinscope::test
