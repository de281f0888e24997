// Each way a binding can fail, made for real: the message that the report prints for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class BindingTest : public testing::Test {
 protected:
  Lab lab;

  std::string reportWith(const std::string& user, const std::string& password) const {
    return lab.guest.joinscope({"-g", "lab.test", "-u", user, "-p", password}).out;
  }
};

struct Refusal {
  const char* description;
  const char* user;
  const char* password;
  const char* message;
};

TEST_F(BindingTest, UsersThatTheControllerRefuses) {
  const Refusal refusals[] = {
      {"wrong password", "alice", "Wrong-Pass1",
       "Invalid username or password for user \"alice\"\n"},
      {"wrong password, not ASCII", "ünal.öz", "şşş",
       "Invalid username or password for user \"ünal.öz\"\n"},
      {"unknown user", "nobody.here", "Alice-Pass1",
       "Invalid username or password for user \"nobody.here\"\n"},
      {"disabled", "bob.disabled", "Bob-Pass1",
       "Kerberos error: rc=-1765328366 getting initial credentials of bob.disabled@LAB.TEST: the "
       "account is disabled: enable it in the directory\n"},
      {"expired", "carol.expired", "Carol-Pass1", ": the account has expired: "},
      {"must change", "dave.mustchange", "Dave-Pass1",
       "Kerberos error: rc=-1765328361 getting initial credentials of dave.mustchange@LAB.TEST: "
       "the "
       "password must be changed before the next logon\n"},
      {"empty password", "alice", "", "Invalid username or password for user \"alice\"\n"},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.description);
    EXPECT_THAT(reportWith(refusal.user, refusal.password), HasSubstr(refusal.message));
  }
  EXPECT_EQ(lab.guest.joinscope({"-N", "lab.test", "-u", "alice", "-p", ""}),
            (CommandResult{159, "",
                           "Failed to authenticate user alice.\nException caught: no password: an "
                           "empty one is not sent\n"}));
}

TEST_F(BindingTest, WithoutCredentialsTheMessageSaysWhatToGive) {
  EXPECT_THAT(lab.guest.joinscope({"-g", "lab.test"}).out,
              HasSubstr("  Forest Name: lab.test\nMachine is not yet joined.\nProvide a valid "
                        "username and password to bind to Active Directory\n\n"));
  EXPECT_THAT(lab.member.joinscope({"--diag"}, {.user = "tester"}).out,
              HasSubstr("  Joined as: host1.lab.test\nCannot bind to the domain controller for a "
                        "domain.\nProvide a valid username and password or run joinscope as root "
                        "to bind using machine credentials\n"));
}

TEST_F(BindingTest, SkewedClockIsNamedOnEveryPath) {
  struct Row {
    const char* description;
    const Host& host;
    const char* user;
    std::vector<std::string> arguments;
    int status;
  };
  const std::vector<std::string> password{"-A", "lab.test", "-u", "alice", "-p", "Alice-Pass1"};
  const Row rows[] = {
      {"password", lab.guest, "root", password, 28},
      {"password, proved with the keytab", lab.member, "root", password, 28},
      {"the user's own tickets", lab.member, "tester", {"--computer"}, 28},
      {"machine", lab.member, "root", {"--computer"}, 23},
  };
  const HostChange tickets(
      lab.member,
      "echo Alice-Pass1 | setpriv --reuid tester kinit -c /tmp/krb5cc_1500 alice@LAB.TEST",
      "rm -f /tmp/krb5cc_1500");
  const CommandResult told = lab.guest.run({"faketime", "-f", "+20m", joinscopeBinary(), "-V", "-A",
                                            "lab.test", "-u", "alice", "-p", "Alice-Pass1"});
  EXPECT_EQ(told.status, 28);
  EXPECT_THAT(told.err,
              testing::ContainsRegex("this computer's clock is 1(199|200|201) s ahead of"));
  for (const Row& row : rows) {
    for (const char* offset : {"+20m", "-20m"}) {
      SCOPED_TRACE(std::string(row.description) + offset);
      std::vector<std::string> command{"faketime", "-f", offset, joinscopeBinary()};
      command.insert(command.end(), row.arguments.begin(), row.arguments.end());
      const CommandResult result = row.host.run(command, {.user = row.user});
      EXPECT_EQ(result.status, row.status);
      EXPECT_THAT(result.out,
                  HasSubstr("Error: Clock skew too great between this computer and the domain "
                            "controller. Please enable NTP or synchronize this system's time to "
                            "the domain controller\n"));
    }
  }
  // With a ticket for the directory itself no KDC is asked.
  lab.member.must(
      "setpriv --reuid tester kvno -c /tmp/krb5cc_1500 ldap/dc1.lab.test/lab.test@LAB.TEST");
  EXPECT_EQ(
      lab.member
          .run({"faketime", "-f", "+20m", joinscopeBinary(), "--computer"}, {.user = "tester"})
          .status,
      28);
}

/// The text is one for many causes; what it was stands on the diagnostic stream.
TEST_F(BindingTest, MachineAccountThatTheControllerRefuses) {
  const auto rename = [](const std::string& name) {
    return "printf 'dn: CN=HOST1,CN=Computers,DC=lab,DC=test\nchangetype: modify\nreplace: "
           "sAMAccountName\nsAMAccountName: " +
           name + "$\n' | ldbmodify -H /var/lib/samba/private/sam.ldb";
  };
  constexpr const char* kInvalid = "Invalid username or password for user \"localhost\"\n";
  const auto checks = [this](const char* message, const char* cause) {
    const CommandResult result = lab.member.joinscope({"-V", "--computer"});
    EXPECT_EQ(result.status, 23);
    EXPECT_THAT(result.out, HasSubstr(message));
    EXPECT_THAT(result.err, HasSubstr(cause));
  };
  {
    const HostChange change(lab.dc, rename("HOST9"), rename("HOST1"));
    checks(kInvalid, "the domain has no such account: deleted, renamed or never there\n");
  }
  {
    const HostChange change(lab.dc, "samba-tool user disable 'HOST1$'",
                            "samba-tool user enable 'HOST1$'");
    checks("Kerberos error: rc=-1765328366 ", "the account is disabled: enable it");
  }
  {
    const HostChange change(
        lab.member,
        "cp /etc/krb5.conf /root/krb5.conf.e2e; sed -i '/libdefaults/a permitted_enctypes = "
        "camellia256-cts' /etc/krb5.conf",
        "cp /root/krb5.conf.e2e /etc/krb5.conf");
    checks(kInvalid, "the account has no key of an encryption type that this host and the domain");
  }
}

TEST_F(BindingTest, MachinePasswordChangedInTheDirectory) {
  const std::vector<std::string> check{"-V", "-A", "-u", "alice", "-p", "Alice-Pass1"};
  const CommandResult proved = lab.member.joinscope(check);
  EXPECT_EQ(proved.status, 0);
  EXPECT_THAT(proved.err, HasSubstr("KDC proved: its ticket for this computer, as alice@LAB.TEST, "
                                    "opens with /etc/krb5.keytab\n"));
  EXPECT_THAT(lab.member.joinscope(check, {.user = "tester"}).err, HasSubstr("KDC not proved, "));

  const HostChange changed(
      lab.dc, "samba-tool user setpassword 'HOST1$' --newpassword=Other-Pass-1234567890", "true");
  const HostChange rejoined(
      lab.member, "true",
      "printf 'Passw0rd!' | adcli join --domain=lab.test --domain-controller=dc1.lab.test "
      "--login-user=Administrator --stdin-password --host-fqdn=host1.lab.test "
      "--computer-name=HOST1");
  EXPECT_THAT(lab.member.joinscope({"--diag", "-S", "dc1.lab.test"}).out,
              HasSubstr("Computer account password has been changed.\nPlease correct the cause of "
                        "this problem, then reset the Computer account in\nActive Directory.\n"));
  // A KDC that does not know the key in the keytab may be anybody's: neither correct nor wrong.
  const CommandResult unproved = lab.member.joinscope(check);
  EXPECT_EQ(unproved.status, 6);
  EXPECT_THAT(unproved.out, AllOf(HasSubstr("could not be proved to be the domain's"),
                                  Not(HasSubstr("is correct"))));
}

TEST_F(BindingTest, MalformedKerberosConfigurationIsMovedAsideByRoot) {
  const HostChange broken(
      lab.member,
      "cp /etc/krb5.conf /root/krb5.conf.e2e; printf '[libdefaults]\\n not a relation\\n' > "
      "/etc/krb5.conf; echo older > /etc/krb5.conf.bad",
      "rm -f /etc/krb5.conf.bad; cp /root/krb5.conf.e2e /etc/krb5.conf");
  EXPECT_THAT(lab.member.joinscope({"--diag"}).out, HasSubstr("  Site: "));
  EXPECT_EQ(lab.member.must("cat /etc/krb5.conf.bad"), "[libdefaults]\n not a relation\n");
  EXPECT_NE(lab.member.shell("test -e /etc/krb5.conf").status, 0);
}

TEST_F(BindingTest, MalformedKerberosConfigurationThatTheUserMayNotMoveIsNamed) {
  Lab::command({"daemon", "stop"});  // which may, and looks anew when it is asked
  const HostChange broken(lab.member,
                          "cp /etc/krb5.conf /root/krb5.conf.e2e; printf '[libdefaults]\\n not a "
                          "relation\\n' > /etc/krb5.conf",
                          "cp /root/krb5.conf.e2e /etc/krb5.conf");
  const CommandResult result = lab.member.joinscope(
      {"-g", "lab.test", "-u", "alice", "-p", "Alice-Pass1"}, {.user = "tester"});
  EXPECT_THAT(result.out,
              HasSubstr("  Forest Name: lab.test\n\n\nComputer Account Diagnostics\n"
                        "  Joined as: host1.lab.test\n"
                        "Cannot bind to the domain controller for a domain.\n"
                        "Kerberos format error reading /etc/krb5.conf\nRename or remove this file "
                        "and try again\n"));
  EXPECT_THAT(
      lab.member
          .joinscope({"-g", "lab.test", "-S", "dc1.lab.test", "-u", "alice", "-p", "Alice-Pass1"},
                     {.user = "tester"})
          .out,
      HasSubstr("Kerberos format error reading /etc/krb5.conf\nRename or remove this file "
                "and try again\n"));
  EXPECT_NE(lab.member.shell("test -e /etc/krb5.conf.bad").status, 0);
  Lab::command({"daemon", "start"});
}

TEST_F(BindingTest, NoKerberosConfigurationAtAllIsNeeded) {
  const CommandResult result = lab.guest.joinscopeAfter(
      "cd /etc; mkdir -p /tmp/etc.e2e; mount -t tmpfs none /tmp/etc.e2e; "
      "printf '' > /tmp/etc.e2e/empty; touch /etc/krb5.conf; mount --bind /tmp/etc.e2e/empty "
      "/etc/krb5.conf",
      {"-g", "lab.test", "-u", "alice", "-p", "Alice-Pass1"});
  EXPECT_THAT(result.out, HasSubstr("  Site: "));
}

TEST_F(BindingTest, KeyDistributionCenterThatIsSilentEndsWithinItsLimit) {
  const HostChange silent(lab.dc,
                          "nft 'add table inet e2e; add chain inet e2e in { type filter hook "
                          "input priority 0; }; add rule inet e2e in tcp dport 88 drop; add rule "
                          "inet e2e in udp dport 88 drop'",
                          "nft delete table inet e2e");
  const CommandResult result = lab.guest.joinscope(
      {"-g", "lab.test", "-u", "alice", "-p", "Alice-Pass1"}, {.limit = std::chrono::seconds(90)});
  EXPECT_THAT(result.out, HasSubstr("Kerberos error: rc=-1765328228 "));
  EXPECT_EQ(result.status, 0);
}

}  // namespace
}  // namespace joinscope::test
