// The lines of the verbose dump.
#include "cli/verbose_dump.h"

#include <gtest/gtest.h>

#include "cli/common/user_credentials.h"
#include "cli/options.h"

namespace joinscope {
namespace {

std::string dump(const Options& options, const UserCredentials& credentials) {
  std::string text;
  for (const std::string& line : verboseLines(options, credentials)) text += line + "$\n";
  return text;
}

TEST(VerboseDump, AbsentAndEmptyTextsAreNull) {
  Options options;
  options.domain = "";
  EXPECT_EQ(dump(options, {}), R"(Options:$
-------$
task: all$
domain: null$
output: null$
additional paths: null $
user: null$
using user's credential cache: No$
allow password prompt in kerberos get init credential: No$
user's credential cache: null$
server: null$
)");
}

TEST(VerboseDump, ShowsEverythingButThePassword) {
  Options options;
  options.task = Task::test;
  options.domain = "lab.test";
  options.outputPath = "-";
  options.additionalPaths = "/a /b";
  options.serverName = "dc1.lab.test";
  UserCredentials credentials;
  credentials.user = "tester";
  credentials.passwordGiven = true;
  credentials.password = tolk::Shredder("s3cret");
  credentials.ccacheName = "FILE:/tmp/krb5cc_1000";
  credentials.interactive = true;
  EXPECT_EQ(dump(options, credentials), R"(Options:$
-------$
task: <unknown>$
domain: lab.test$
output: -$
additional paths: /a /b $
user: tester$
using user's credential cache: Yes$
allow password prompt in kerberos get init credential: Yes$
user's credential cache: FILE:/tmp/krb5cc_1000$
server: dc1.lab.test$
)");
}

}  // namespace
}  // namespace joinscope
