// Brings the lab up before the tests of a program, or skips them all with the reason; CI takes that
// for a failure.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

class LabEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    if (!labMissing()) return;
    const char* ci = std::getenv("CI");
    if (ci != nullptr && std::string_view(ci) == "true") {
      FAIL() << "the lab is missing: " << *labMissing();
    }
    GTEST_SKIP() << "the lab is missing: " << *labMissing();
  }
};

[[maybe_unused]] const testing::Environment* const kLab =
    testing::AddGlobalTestEnvironment(new LabEnvironment);

}  // namespace
}  // namespace joinscope::test
