// The texts about the join, from facts.
#include "cli/status/join_status.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "cli/common/task_context.h"
#include "cli/status/config_report.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

constexpr char kWarning[] =
    "  Warning! Unable to locate computer's subnet site in Active Directory.\n"
    "  Please advise your system administrator.\n";

struct Facts {
  JoinFacts join;
  PlaceFacts place;
};

Facts facts(std::optional<std::string> subnetSite) {
  return {.join = {.localHostName = "host1",
                   .domain = "lab.test",
                   .joinedAs = "host1.lab.test",
                   .preWin2kName = "HOST1"},
          .place = {.controller = "dc1.lab.test",
                    .preferredSite = "Paris",
                    .subnetSite = std::move(subnetSite)}};
}

std::string text(const Facts& shown) {
  std::ostringstream out;
  writeJoinFacts(out, shown.join);
  writePlaceFacts(out, shown.place);
  return out.str();
}

TEST(JoinStatus, SubnetSiteIsShownWhereItDiffers) {
  const std::string common = text(facts({}));
  EXPECT_EQ(text(facts("Paris")), common);
  EXPECT_EQ(text(facts("")), common + "Subnet site:       \n" + kWarning);
  Facts nowhere = facts("");
  nowhere.place.preferredSite = "";
  nowhere.join.preWin2kName.reset();
  nowhere.place.controller = "dc\n1";
  EXPECT_EQ(text(nowhere),
            "Local host name:   host1\n"
            "Joined to domain:  lab.test\n"
            "Joined as:         host1.lab.test\n"
            "Current DC:        dc\\x0A1\n"
            "Preferred site:    \n" +
                std::string(kWarning));
}

TEST(ConfigReport, SortsWithoutCaseAndEscapesValuesOnly) {
  tolk::Properties properties;
  properties.parse("b.Two: x\ty\nA.one: \xff\nB.TWO: 2\na.zero: Grüße\nC: \n");
  std::ostringstream out;
  writeConfig(out, properties.all());
  EXPECT_EQ(out.str(), "A.one: \\xFF\na.zero: Grüße\nB.TWO: 2\nC: \n");
}

TEST(JoinStatus, HeaderForEveryState) {
  const std::string gone = "Running in disconnected mode because the computer object has been ";
  const std::pair<std::optional<AgentState>, std::string> cases[] = {
      {{}, "Not joined to any domain"},
      {AgentState::connected, "Running in connected mode"},
      {AgentState::disconnected, "Running in disconnected mode"},
      {AgentState::starting, "Not accepting connections"},
      {AgentState::down, "Not running"},
      {AgentState::unavailable, "Unknown"},
      {AgentState::objectDeleted, gone + "deleted in AD side"},
      {AgentState::objectDisabled, gone + "disabled in AD side"},
      {AgentState::lockUnexaminable, "Unknown"},
  };
  for (const auto& [state, line] : cases) EXPECT_EQ(statusText(state), line);
}

TEST(JoinStatus, PasswordLastSetInLocalTime) {
  struct Case {
    const char* value;  ///< null: the attribute is absent
    const char* expected;
  };
  const Case cases[] = {
      {"0", "1970-01-01 01:00:00 CET"},  {"133082352001234567", "2022-09-21 14:00:00 CEST"},
      {"-1", "1601-01-01 01:00:00 CET"}, {"9223372036854775807", "30828-09-14 04:48:05 CEST"},
      {"never", "<unavailable>"},        {"", "<unavailable>"},
      {nullptr, "<unavailable>"},
  };
  ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  ::tzset();
  for (const Case& row : cases) {
    SCOPED_TRACE(row.value == nullptr ? "absent" : row.value);
    const auto object = boost::make_shared<tolk::ADObject>("CN=x");
    if (row.value != nullptr) (*object)[tolk::AD_PWCHG_LAST] = std::string(row.value);
    EXPECT_EQ(formatPasswordLastSet(object), row.expected);
  }
  EXPECT_EQ(formatPasswordLastSet({}), "<unavailable>");
  ::unsetenv("TZ");
  ::tzset();
}

}  // namespace
}  // namespace joinscope
