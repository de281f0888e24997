#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "tolk/base/fips.h"
#include "tolk/ntlm/win_error.h"

namespace tolk {
namespace {

TEST(FipsMode, IsOnWhereTheKernelSaysOne) {
  const std::string path = testing::TempDir() + "fips_enabled";
  for (const auto& [content, on] : {std::pair("1\n", true), {"0\n", false}, {"", false}}) {
    std::ofstream(path) << content;
    EXPECT_EQ(fipsEnabledIn(path), on) << content;
  }
  std::remove(path.c_str());
  EXPECT_FALSE(fipsEnabledIn(path));
}

TEST(WinErrToString, StatusAndWindowsErrorHaveOneTextAndOthersTheirNumber) {
  EXPECT_EQ(WinErrToString(static_cast<int>(0xC000006D)),
            "The user name or password is incorrect.");
  EXPECT_EQ(WinErrToString(static_cast<int>(0xC0000234)),
            "The referenced account is currently locked out and may not be logged on to.");
  EXPECT_EQ(WinErrToString(1326), WinErrToString(static_cast<int>(0xC000006D)));
  EXPECT_EQ(WinErrToString(static_cast<int>(0xC0000234)),
            "The referenced account is currently locked out and may not be logged on to.");
  EXPECT_EQ(WinErrToString(0), "The operation completed successfully.");
  EXPECT_EQ(WinErrToString(static_cast<int>(0xC00ABCDE)), "NT status 0xc00abcde");
  EXPECT_EQ(WinErrToString(2), "Windows error 2");
}

}  // namespace
}  // namespace tolk
