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
    const std::optional<std::string>& missing = labMissing();
    if (!missing) return;
    const char* ci = std::getenv("CI");
    if (ci != nullptr && std::string_view(ci) == "true") {
      FAIL() << "the lab is missing: " << *missing;
    }
    GTEST_SKIP() << "the lab is missing: " << *missing;
  }
};

[[maybe_unused]] const testing::Environment* const kLab =
    testing::AddGlobalTestEnvironment(new LabEnvironment);

}  // namespace
}  // namespace joinscope::test
