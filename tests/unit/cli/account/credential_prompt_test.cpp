#include "cli/account/credential_prompt.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "cli/common/user_credentials.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/user_principal.h"

namespace joinscope {
namespace {

tolk::KdcAddresses nowhere(const std::string& /*realm*/) {
  return {};
}

/// Asks the callback for credentials of alice@LAB.TEST, which no KDC can give.
krb5_error_code ask(UserCredentials& record) {
  const tolk::KerberosContext kerberos;
  krb5_set_server_locator(kerberos.get(), nowhere);
  const tolk::Krb5Principal alice = tolk::userPrincipal(kerberos.get(), "alice", "lab.test");
  tolk::Krb5CredsContents credentials(kerberos.get());
  return joinscope_gic_with_password_prompt_callback(kerberos.get(), credentials.get(), alice.get(),
                                                     &record);
}

TEST(CredentialPrompt, WithoutLeaveNothingIsSent) {
  UserCredentials record;
  EXPECT_EQ(ask(record), static_cast<krb5_error_code>(KRB5_LIBOS_CANTREADPWD));
  EXPECT_FALSE(record.passwordGiven);
  EXPECT_TRUE(record.password.empty());
}

/// In a terminal of its own: whether two requests leave the password typed at the first.
bool askTwice() {
  UserCredentials record;
  record.interactive = true;
  ask(record);
  ask(record);
  return record.passwordGiven && record.password.view() == "typed";
}

/// What comes from the terminal until `end` or its end.
std::string readUntil(int terminal, std::string_view end) {
  std::string text;
  char c = '\0';
  while (!text.ends_with(end) && ::read(terminal, &c, 1) == 1) text += c;
  return text;
}

TEST(CredentialPrompt, AsksOnceOnTheTerminalWithoutEcho) {
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) ::_exit(askTwice() ? 0 : 1);
  const tolk::UniqueFd owner(terminal);
  constexpr std::string_view kPrompt = "Active Directory password for alice@LAB.TEST: ";
  EXPECT_EQ(readUntil(terminal, kPrompt), kPrompt);
  ASSERT_EQ(::write(terminal, "typed\n", 6), 6);
  EXPECT_EQ(readUntil(terminal, "never"), "\r\n");
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(CredentialPrompt, TheCopyIsWholeAndItsOwn) {
  UserCredentials record;
  record.user = "alice";
  record.passwordGiven = true;
  record.password = tolk::Shredder("secret");
  record.ccacheName = "FILE:/somewhere";
  record.interactive = true;
  void* data = nullptr;
  ASSERT_EQ(joinscope_gic_indentifier_callback_data_copy_function(&record, &data), 0);
  record.password.wipe();
  const auto& copy = *static_cast<const UserCredentials*>(data);
  EXPECT_STREQ(copy.user, "alice");
  EXPECT_TRUE(copy.passwordGiven);
  EXPECT_EQ(copy.password.view(), "secret");
  EXPECT_EQ(copy.ccacheName, "FILE:/somewhere");
  EXPECT_TRUE(copy.interactive);
  joinscope_gic_indentifier_callback_data_free_function(data);

  EXPECT_EQ(joinscope_gic_indentifier_callback_data_copy_function(nullptr, &data), EINVAL);
  EXPECT_EQ(joinscope_gic_indentifier_callback_data_copy_function(&record, nullptr), EINVAL);
  joinscope_gic_indentifier_callback_data_free_function(nullptr);
}

}  // namespace
}  // namespace joinscope
