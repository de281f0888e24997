// The text of GetSystemInfo.
#include "velkd/system_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tolk/rpc/daemon_protocol.h"
#include "velkd/health.h"

namespace velkd {
namespace {

using testing::HasSubstr;

TEST(SystemInfo, SectionsFollowTheMask) {
  SystemFacts facts;
  facts.nameServers = {{.address = "10.0.0.1", .failures = 2, .fault = "answered SERVFAIL"},
                       {.address = "10.0.0.2", .answers = 5},
                       {.address = "10.0.0.3"}};
  facts.hosts["dc1.lab.test"].addresses.push_back({});
  facts.discovery = {.hits = 7, .misses = 3, .failures = 1};
  facts.settings = {{"zone", "DC=lab,DC=test"}, {"schema", "auto"}};
  EXPECT_EQ(systemInfoText(
                tolk::daemon_module::kZone | tolk::daemon_module::kDns | tolk::daemon_module::kOrb,
                facts),
            R"(  DNS
    Name server: 10.0.0.1
      State: answered SERVFAIL
      Answers: 0
      Failures: 2
    Name server: 10.0.0.2
      State: answers
      Answers: 5
      Failures: 0
    Name server: 10.0.0.3
      State: not asked yet
      Answers: 0
      Failures: 0
    Host: dc1.lab.test 0.0.0.0
    Answers from memory (hits): 7
    Questions to the network (misses): 3
    Searches for controllers that failed lately: 1
  Zone
    Zone: DC=lab,DC=test
    Schema: auto
    Zone identifier: <none>
  Cloud
    Not configured.
)");
  EXPECT_EQ(systemInfoText(0, facts), "");
  EXPECT_EQ(systemInfoText(0x40, facts), "");
}

TEST(SystemInfo, ConfigurationIsForRootAndShowsNoSecret) {
  SystemFacts facts;
  facts.config = {{"a.key", "one\ntwo"}, {"cloud.proxy.Password", "hunter2"}};
  EXPECT_EQ(systemInfoText(tolk::daemon_module::kConfig, facts),
            "  Configuration\n    Only root may see the configuration.\n");
  facts.privileged = true;
  EXPECT_EQ(systemInfoText(tolk::daemon_module::kConfig, facts),
            "  Configuration\n    a.key: one\\x0Atwo\n    cloud.proxy.Password: <hidden>\n");
}

TEST(SystemInfo, SwitchesThatContradictEachOtherSwitchNothing) {
  EXPECT_EQ(countingWanted(tolk::daemon_module::kPmonEnable), true);
  EXPECT_EQ(countingWanted(tolk::daemon_module::kPmonDisable | tolk::daemon_module::kDns), false);
  EXPECT_EQ(countingWanted(0xFFFFFFBF), std::nullopt);
  EXPECT_EQ(countingWanted(tolk::daemon_module::kPmon), std::nullopt);
}

TEST(SystemInfo, HealthNamesEachProblem) {
  SystemFacts facts;
  facts.directory.joined = facts.directory.connected = true;
  EXPECT_EQ(systemInfoText(tolk::daemon_module::kHealth, facts),
            "  Health\n    No problem is known.\n");
  facts.settingsProblem = "The keytab is gone";
  facts.directory.connected = false;
  facts.directory.lastFailure = "No controller answers";
  facts.directory.object = ObjectState::disabled;
  facts.directory.ticketEnd = 100;
  facts.now = 100;
  EXPECT_EQ(systemInfoText(tolk::daemon_module::kHealth, facts), R"(  Health
    The keytab is gone
    There is no connection to the domain: No controller answers
    The computer object is disabled. Enable it in the directory.
    The ticket of the computer account has ended and cannot be renewed.
)");
  facts.directory.object = ObjectState::missing;
  EXPECT_THAT(systemInfoText(tolk::daemon_module::kHealth, facts),
              HasSubstr("does not exist any more"));
  facts.directory = {.joined = true, .connected = true, .controller = "dc1"};
  EXPECT_EQ(statusLine(facts.directory, 100), "Connected to dc1");
  facts.directory.object = ObjectState::foreign;
  facts.directory.accountProblems = {"The keytab is dead."};
  EXPECT_THAT(statusLine(facts.directory, 100), HasSubstr("is not one of the domain"));
  EXPECT_THAT(systemInfoText(tolk::daemon_module::kHealth, facts),
              HasSubstr("\n    The keytab is dead.\n"));
}

}  // namespace
}  // namespace velkd
