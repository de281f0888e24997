// Brings the lab up before the tests of a program and ends its daemon, which must end well, after
// them. A machine that cannot run the lab skips the tests, with the reason; for CI that is a
// failure, and so is every other reason everywhere.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

class LabEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    const CommandResult up = Lab::run({"up"});
    const char* ci = std::getenv("CI");
    const bool mustRun = ci != nullptr && std::string_view(ci) == "true";
    if (up.status == Lab::kObstacle && !mustRun) {
      std::cerr << "skipped: " << up.err;
      std::exit(Lab::kObstacle);
    }
    ASSERT_EQ(up.status, 0) << up;
    up_ = true;
  }
  void TearDown() override {
    if (up_) Lab::command({"daemon", "stop"});
  }

 private:
  bool up_ = false;
};

[[maybe_unused]] const testing::Environment* const kLab =
    testing::AddGlobalTestEnvironment(new LabEnvironment);

}  // namespace
}  // namespace joinscope::test
