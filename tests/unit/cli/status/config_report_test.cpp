// The text of --config.
#include "cli/status/config_report.h"

#include <gtest/gtest.h>

#include <sstream>

namespace joinscope {
namespace {

std::string text(const tolk::Properties::Map& properties) {
  std::ostringstream out;
  writeConfig(out, properties);
  return out.str();
}

TEST(ConfigReport, SortsWithoutCaseAndEscapesValuesOnly) {
  tolk::Properties properties;
  properties.parse("b.Two: x\ty\nA.one: \xff\nB.TWO: 2\na.zero: Grüße\nC: \n");
  EXPECT_EQ(text(properties.all()),
            "A.one: \\xFF\n"
            "a.zero: Grüße\n"
            "B.TWO: 2\n"
            "C: \n");
}

TEST(ConfigReport, WhatCannotBeReadLooksEmpty) {
  for (const char* path : {"/nonexistent/orvald.conf", "/dev/null", "/"}) {
    EXPECT_EQ(text(readConfig(path)), "No properties available -- no permission?\n") << path;
  }
}

}  // namespace
}  // namespace joinscope
