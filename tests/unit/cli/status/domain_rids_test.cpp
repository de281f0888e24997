// The question for identifier ranges: attempts, messages, listing.
#include "cli/status/domain_rids.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "fake_orv_session.h"
#include "tests/support/captured_output.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/rpc/orv_session.h"

namespace joinscope {
namespace {

using test::daemon;

class DomainRids : public testing::Test {
 protected:
  DomainRids() { daemon() = {}; }
};

TEST_F(DomainRids, AsksWhileTheDaemonIsGathering) {
  struct Case {
    const char* what;
    int openCode;
    std::vector<int> codes;
    long seconds;
    int code, asked;
  };
  const Case cases[] = {
      {"known at once", 0, {0}, 5, 0, 1},
      {"known at the second attempt", 0, {41, 0}, 2, 0, 2},
      {"never known", 0, {41}, 1, 41, 1},
      {"the daemon breaks off", 0, {32, 0}, 5, 32, 1},
      {"no daemon", 6, {0}, 5, 6, 0},
      {"no time to wait", 0, {0}, 0, 41, 0},
      {"negative time to wait", 0, {0}, -3, 41, 0},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    daemon() = {};
    daemon().openCode = row.openCode;
    daemon().codes = row.codes;
    OrvKeyValue* set = nullptr;
    EXPECT_EQ(getDomainRids(row.seconds, &set), row.code);
    EXPECT_EQ(set != nullptr, row.code == 0);
    EXPECT_EQ(daemon().asked, row.asked);
    EXPECT_EQ(daemon().open, 0);
    orvFreeKeyValueSet(set);
  }
}

TEST_F(DomainRids, WaitsAsConfigured) {
  std::ostringstream told;
  EXPECT_EQ(domainRidsWaitSeconds(&told), 60);
  tolk::Props().set(tolk::PN::JOIN_VELKD_WAIT_TIME, "2m");
  EXPECT_EQ(domainRidsWaitSeconds(&told), 120);
  EXPECT_EQ(told.str(),
            "  It may take up to 60 seconds to gather information...\n"
            "  It may take up to 120 seconds to gather information...\n");
}

TEST_F(DomainRids, EveryFailureHasItsLine) {
  const test::CapturedOutput err(std::cerr);
  for (const int code : {0, 6, 32, 41, 42}) reportRidError(code);
  EXPECT_EQ(err.text(),
            "  Could not communicate with velkd\n"
            "  Could not communicate with velkd\n"
            "  Timed out getting domain RIDs from velkd\n"
            "  Could not get domain RIDs from velkd: why\n");
}

TEST_F(DomainRids, MarksTheJoinedDomainAsItIsSpelled) {
  daemon().codes = {0};
  daemon().ranges = {{"A.LAB.TEST", "1-2"}, {"LAB.TEST", "3-4\x1b"}, {"lab.test", ""}};
  OrvKeyValue* set = nullptr;
  ASSERT_EQ(getDomainRids(1, &set), 0);
  std::ostringstream out;
  writeDomainRids(out, set, "Lab.test");
  orvFreeKeyValueSet(set);
  EXPECT_EQ(out.str(),
            "Domain RIDs in forest:\n"
            "  A.LAB.TEST: 1-2\n"
            "  LAB.TEST: 3-4\\x1B (current domain)\n"
            "  lab.test: \n");
}

}  // namespace
}  // namespace joinscope
