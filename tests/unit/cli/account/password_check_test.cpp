// The checks of a password up to the point where a controller is asked.
#include "cli/account/password_check.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "fake_network_state.h"
#include "tests/support/captured_output.h"

namespace joinscope {
namespace {

using Check = int (*)(TaskContext&, const char*, std::ostream*, bool);

struct Outcome {
  int status;
  std::string out, err, verbose;
};

Outcome run(Check check, UserCredentials* record, const char* domain, bool quiet) {
  TaskContext context(record, domain, nullptr);
  context.joined = false;
  std::ostringstream verbose;
  const test::CapturedOutput out(std::cout);
  const test::CapturedOutput err(std::cerr);
  const int status = check(context, nullptr, &verbose, quiet);
  return {status, out.text(), err.text(), verbose.str()};
}

class PasswordCheck : public testing::Test {
 protected:
  PasswordCheck() {
    test::discovery() = {};
    record.user = "al\x1bice";
    record.passwordGiven = true;
    record.password = tolk::Shredder("secret");
  }
  UserCredentials record;
};

TEST_F(PasswordCheck, AsksForWhatIsMissing) {
  Outcome outcome = run(checkPassword, nullptr, "lab.test", false);
  EXPECT_EQ(outcome.out, "No user credentials are input from verification\n");
  EXPECT_EQ(outcome.status, 7);
  outcome = run(checkNtlmPassword, nullptr, "lab.test", false);
  EXPECT_EQ(outcome.out, "No user credentials were supplied\n");
  EXPECT_EQ(outcome.status, 7);
  for (const Check check : {checkPassword, checkNtlmPassword}) {
    outcome = run(check, &record, "", false);
    EXPECT_EQ(outcome.out,
              "No domain specified\nSpecify a domain or join the machine to a domain\n");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.verbose + outcome.err, "");
  }
}

TEST_F(PasswordCheck, QuietOrNotAFailureIsTold) {
  for (const bool quiet : {true, false}) {
    record.password = tolk::Shredder("secret");
    const Outcome outcome = run(checkPassword, &record, "lab.test", quiet);
    EXPECT_TRUE(outcome.out.starts_with("Unable to connect to server . Reason: ")) << outcome.out;
    EXPECT_EQ(outcome.status, 6);
    EXPECT_TRUE(
        outcome.verbose.starts_with("  Checking user password, domain=lab.test, user=al\\x1Bice\n"))
        << outcome.verbose;
    EXPECT_TRUE(record.password.empty());
  }
}

TEST_F(PasswordCheck, NtlmWithoutAControllerIsNoVerdict) {
  const Outcome outcome = run(checkNtlmPassword, &record, "lab.test", false);
  EXPECT_EQ(outcome.err,
            "Failed to authenticate user al\\x1Bice.\nException caught: no controller answers\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.status, 159);
  EXPECT_EQ(outcome.verbose, "  Checking NTLM user password, domain=lab.test, user=al\\x1Bice\n");
  EXPECT_TRUE(record.password.empty());
}

}  // namespace
}  // namespace joinscope
