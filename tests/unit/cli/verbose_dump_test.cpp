// The lines of the verbose dump, and the one about work under way.
#include "cli/verbose_dump.h"

#include <gtest/gtest.h>

#include "cli/common/user_credentials.h"
#include "cli/joins/progress_line.h"
#include "cli/options.h"

namespace joinscope {
namespace {

TEST(VerboseDump, ShowsEverythingButThePassword) {
  Options options;
  options.task = Task::test;
  options.domain = "lab.test";
  options.outputPath = "-";
  options.additionalPaths = "/a /b";
  UserCredentials credentials;
  credentials.user = "tester";
  credentials.passwordGiven = true;
  credentials.password = tolk::Shredder("s3cret");
  credentials.ccacheName = "FILE:/tmp/krb5cc_1000";
  credentials.interactive = true;
  std::string text;
  for (const std::string& line : verboseLines(options, credentials)) text += line + "$\n";
  EXPECT_EQ(text, R"(Options:$
-------$
task: <unknown>$
domain: lab.test$
output: -$
additional paths: /a /b $
user: tester$
using user's credential cache: Yes$
allow password prompt in kerberos get init credential: Yes$
user's credential cache: FILE:/tmp/krb5cc_1000$
server: null$
)");
}

TEST(ProgressLine, IsForATerminalOnly) {
  testing::internal::CaptureStderr();
  ProgressLine().show(5);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace joinscope
