// The main of every test program. A test that hangs ends the program with its name, before ctest
// would end it without; on CI, where all that a test may need is installed, skipping fails; and no
// test leaves properties to the next.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "tolk/base/properties.h"

namespace {

constexpr unsigned kLimitSeconds = 240;

/// Written before the alarm is set: a signal handler can make no text.
std::array<char, 256> hangs;

extern "C" void endHungTest(int /*signal*/) {
  (void)!::write(STDERR_FILENO, hangs.data(), std::strlen(hangs.data()));
  ::_exit(1);
}

void watch(const std::string& what) {
  (void)std::snprintf(hangs.data(), hangs.size(), "\n%s hangs: ended after %u s\n", what.c_str(),
                      kLimitSeconds);
  ::alarm(kLimitSeconds);
}

class Watch : public testing::EmptyTestEventListener {
  void OnTestSuiteStart(const testing::TestSuite& suite) override { watch(suite.name()); }
  void OnTestStart(const testing::TestInfo& test) override {
    watch(test.test_suite_name() + std::string(".") + test.name());
  }
  void OnTestEnd(const testing::TestInfo& test) override {
    watch(test.test_suite_name());
    tolk::Props(true);
    const char* ci = std::getenv("CI");
    if (ci != nullptr && std::string_view(ci) == "true" && test.result()->Skipped()) {
      ADD_FAILURE() << "skipped, which CI=true forbids";
    }
  }
  void OnTestSuiteEnd(const testing::TestSuite& /*suite*/) override { ::alarm(0); }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  ::signal(SIGALRM, endHungTest);
  testing::UnitTest::GetInstance()->listeners().Append(new Watch);
  return RUN_ALL_TESTS();
}
