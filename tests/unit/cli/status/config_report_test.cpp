// The text of --config.
#include "cli/status/config_report.h"

#include <gtest/gtest.h>

#include <sstream>

namespace joinscope {
namespace {

TEST(ConfigReport, SortsWithoutCaseAndEscapesValuesOnly) {
  tolk::Properties properties;
  properties.parse("b.Two: x\ty\nA.one: \xff\nB.TWO: 2\na.zero: Grüße\nC: \n");
  std::ostringstream out;
  writeConfig(out, properties.all());
  EXPECT_EQ(out.str(),
            "A.one: \\xFF\n"
            "a.zero: Grüße\n"
            "B.TWO: 2\n"
            "C: \n");
}

}  // namespace
}  // namespace joinscope
