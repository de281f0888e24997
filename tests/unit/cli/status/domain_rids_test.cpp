// What is said of identifier ranges, and of a daemon that does not tell them.
#include "cli/status/domain_rids.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "tests/support/captured_output.h"
#include "tolk/rpc/orv_session.h"

namespace joinscope {
namespace {

TEST(DomainRids, EveryFailureHasItsLine) {
  const test::CapturedOutput err(std::cerr);
  for (const int code : {0, 6, 32, 41}) reportRidError(code);
  EXPECT_EQ(err.text(),
            "  Could not communicate with velkd\n"
            "  Could not communicate with velkd\n"
            "  Timed out getting domain RIDs from velkd\n");
}

TEST(DomainRids, MarksTheJoinedDomainAsItIsSpelled) {
  std::string texts[] = {"A.LAB.TEST", "1-2", "LAB.TEST", "3-4\x1b", "lab.test", ""};
  const OrvKeyValue set[] = {{texts[0].data(), texts[1].data()},
                             {texts[2].data(), texts[3].data()},
                             {texts[4].data(), texts[5].data()},
                             {nullptr, nullptr}};
  std::ostringstream out;
  writeDomainRids(out, set, "Lab.test");
  EXPECT_EQ(out.str(),
            "Domain RIDs in forest:\n"
            "  A.LAB.TEST: 1-2\n"
            "  LAB.TEST: 3-4\\x1B (current domain)\n"
            "  lab.test: \n");
}

}  // namespace
}  // namespace joinscope
