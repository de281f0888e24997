// The computer account, its keys and passwords on a real forest, compared with ldapsearch and
// klist.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/directory_oracle.h"
#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> kAlice{"-u", "alice", "-p", "Alice-Pass1"};

std::vector<std::string> withAlice(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), kAlice.begin(), kAlice.end());
  return arguments;
}

/// A line of shell that changes the directory as administrator; `ldif` goes to ldapmodify.
std::string modify(const std::string& ldif) {
  return "export KRB5CCNAME=/tmp/e2e_admin; klist -s || echo 'Passw0rd!' | kinit administrator "
         ">/dev/null; ldapmodify -Q -Y GSSAPI -H ldap://dc1.lab.test >/dev/null <<'END'\n" +
         ldif + "\nEND\n";
}

std::string replaced(const std::string& name, const std::string& attribute,
                     const std::string& value) {
  return "dn: " + name + "\nchangetype: modify\nreplace: " + attribute + "\n" + attribute + ": " +
         value + "\n";
}

constexpr const char* kHost = "CN=HOST1,CN=Computers,DC=lab,DC=test";

class AccountTest : public testing::Test {
 protected:
  Lab lab;
};

TEST_F(AccountTest, ComputerAgreesWithTheDirectoryAndTheKeytab) {
  const CommandResult plain = lab.member.joinscope({"--computer"});
  EXPECT_EQ(plain, (CommandResult{0, expectedComputerAccount(lab.member), ""}));
  const CommandResult verbose = lab.member.joinscope({"--computer", "--verbose"});
  EXPECT_EQ(verbose.out, plain.out);
  const std::string newest = lab.member.must(
      "klist -ket | sed -n 's/^ *\\([0-9]*\\) .*@LAB.TEST.*/\\1/p' | tail -n 1 | tr -d '\\n'");
  EXPECT_THAT(verbose.err, HasSubstr("      Most recent local key version: " + newest + "\n"));
  // The controller has two addresses, and nobody listens at the first.
  EXPECT_EQ(lab.member.joinscopeAfter("printf '%s dc1.lab.test\n' 10.99.0.21 10.99.0.10 "
                                      ">/tmp/e2e.hosts; mount --bind /tmp/e2e.hosts /etc/hosts",
                                      {"--computer"}),
            plain);
  EXPECT_THAT(verbose.err, HasSubstr("  Searching for (&(samAccountName=HOST1$)(objectClass="
                                     "computer))\n             in DC=lab,DC=test\n  Found computer "
                                     "account: CN=HOST1,CN=Computers,DC=lab,DC=test\n"));
}

TEST_F(AccountTest, KeytabsThatDoNotMatchTheDirectory) {
  struct Case {
    const char* what;
    const char* before;   ///< what the keytab begins with
    const char* entries;  ///< commands of ktutil(1) that add to it
    const char* newest;
  };
  const Case cases[] = {
      {"newer, and another realm's key that is newer still",
       "cp /etc/krb5.keytab /tmp/e2e.keytab; ",
       "addent -password -p HOST1$@LAB.TEST -k 77 -e rc4-hmac\nx\n"
       "addent -password -p HOST1$@OTHER.TEST -k 99 -e rc4-hmac\nx\n",
       "77"},
      {"stale", "", "addent -password -p HOST1$@LAB.TEST -k 1 -e rc4-hmac\nx\n", "1"},
  };
  const std::string report = expectedComputerAccount(lab.member);
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    const CommandResult result = lab.member.joinscopeAfter(
        "rm -f /tmp/e2e.keytab; " + std::string(row.before) + "ktutil >/dev/null <<'END'\n" +
            row.entries +
            "wkt /tmp/e2e.keytab\nq\nEND\nmount --bind /tmp/e2e.keytab /etc/krb5.keytab",
        withAlice({"-C", "-V"}));
    EXPECT_EQ(result.out, report);
    EXPECT_THAT(
        result.err,
        HasSubstr("      Most recent local key version: " + std::string(row.newest) + "\n"));
    EXPECT_THAT(result.err, Not(HasSubstr("OTHER.TEST")));
  }
}

TEST_F(AccountTest, SomebodyWhoIsNotRootSeesTheDirectoryOnly) {
  const CommandResult result = lab.member.joinscope(withAlice({"-C"}), {.user = "tester"});
  EXPECT_THAT(result.out, HasSubstr("  Use DES Key Only: false\n"
                                    "  Run joinscope as root to examine local key info\n"
                                    "  Key Version: "));
  EXPECT_THAT(result.out, HasSubstr("   (local key version unavailable)\n"));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(lab.member.joinscope({"-C"}, {.user = "tester"}),
            (CommandResult{23,
                           "Computer Account Diagnostics\n  Joined as: host1.lab.test\n"
                           "Cannot bind to the domain controller for a domain.\n"
                           "Provide a valid username and password or run joinscope as root to bind "
                           "using machine credentials\n",
                           ""}));
}

TEST_F(AccountTest, DelegationDesAndOddEncryptionBits) {
  const HostChange flags(lab.member,
                         modify(replaced(kHost, "userAccountControl", "2625536") + "\n" +
                                replaced(kHost, "msDS-SupportedEncryptionTypes", "35")),
                         modify(replaced(kHost, "userAccountControl", "4096") + "\n" +
                                replaced(kHost, "msDS-SupportedEncryptionTypes", "28")));
  const std::string report = lab.member.joinscope(withAlice({"-C"})).out;
  EXPECT_THAT(report, HasSubstr("  Trusted for Delegation: true\n  Use DES Key Only: true\n"));
  EXPECT_THAT(report, HasSubstr("\nSupported Encryption Type(s): DES-CBC-CRC\n"
                                "                              DES-CBC-MD5\n\n"));
}

TEST_F(AccountTest, OtherObjectsWithTheHostsNames) {
  // The controller refuses such values over LDAP, so they go into its database: in another case, at
  // an enabled and at a disabled computer.
  const auto change = [](const std::string& what) {
    const auto one = [&what](const std::string& name, const std::string& spn) {
      return "dn: " + name + "\nchangetype: modify\n" + what +
             ": servicePrincipalName\nservicePrincipalName: " + spn + "\n\n";
    };
    return "ldbmodify -H '/var/lib/samba/private/sam.ldb.d/DC=LAB,DC=TEST.ldb' >/dev/null "
           "<<'END'\n" +
           one("CN=FS1,OU=Servers,DC=lab,DC=test", "HOST/Host1") +
           one("CN=OLD1,CN=Computers,DC=lab,DC=test", "host/host1.lab.test") + "END\n";
  };
  const HostChange names(lab.dc, change("add"), change("delete"));
  // The directory decides on the order.
  const std::string host = "  CN=HOST1,CN=Computers,DC=lab,DC=test\n";
  const std::string other = "  CN=FS1,OU=Servers,DC=lab,DC=test\n";
  const auto section = [](const std::string& objects) {
    return "\nObjects that contain same SPNs.The duplicate SPNs DN are:\n" + objects +
           "\nPellion Orvald Status\n  Running in connected mode\n\n\n";
  };
  const auto both = testing::AnyOf(testing::EndsWith(section(host + other)),
                                   testing::EndsWith(section(other + host)));
  EXPECT_THAT(lab.member.joinscope({"--diag"}).out, both);
  const HostChange noCatalog(lab.dc,
                             "nft 'add table inet e2e; add chain inet e2e in { type filter hook "
                             "input priority 0; }; add rule inet e2e in tcp dport 3268 reject'",
                             "nft delete table inet e2e");
  EXPECT_THAT(lab.member.joinscope({"--diag"}).out, both);
}

TEST_F(AccountTest, AnObjectThatIsNotThere) {
  const CommandResult result = lab.member.joinscopeAfter(
      "echo 'NO*BODY' >/tmp/e2e.name; mount --bind /tmp/e2e.name /var/orvald/kset.prew2khostname",
      withAlice({"-C"}));
  EXPECT_EQ(result,
            (CommandResult{23,
                           "Computer Account Diagnostics\n  Joined as: host1.lab.test\n"
                           "  Computer account for NO*BODY not found in Active Directory or user "
                           "does not have sufficient permission to access the computer object.\n",
                           ""}));
}

TEST_F(AccountTest, GatesComeBeforeTheCheckOfTheUser) {
  EXPECT_EQ(lab.guest.joinscope({"-C", "-u", "alice", "-p", "Wrong-Pass1"}),
            (CommandResult{10, "", "Not joined to any domain.\n"}));
  EXPECT_EQ(lab.member.joinscope({"-C", "-u", "alice", "-p", "Wrong-Pass1"}),
            (CommandResult{19,
                           "Unable to connect to server . Reason: Invalid username or password for "
                           "user \"alice\"\n",
                           ""}));
  const CommandResult sysinfo = lab.member.joinscope(withAlice({"-y", "config"}));
  EXPECT_THAT(sysinfo.out, testing::StartsWith("System Diagnostic\n"));
}

struct Logon {
  const char* what;
  const char* user;
  const char* password;
  int authStatus;
  const char* reason;  ///< of --auth
  int ntlmStatus;
  const char* failure;  ///< of --ntlmauth
};

TEST_F(AccountTest, PasswordsByKerberosAndByNtlm) {
  constexpr const char* kWrong = "Reason: The user name or password is incorrect.";
  const Logon logons[] = {
      {"right", "alice", "Alice-Pass1", 0, "", 0, ""},
      {"user principal name", "alice@lab.test", "Alice-Pass1", 0, "", 0, ""},
      {"with the domain", "LAB\\alice", "Alice-Pass1", 0, "", 0, ""},
      {"with its DNS name", "lab.test\\alice", "Alice-Pass1", 0, "", 0, ""},
      {"with a domain that nobody knows", "WRONGDOM\\alice", "Alice-Pass1", 19,
       "Invalid username or password for user \"WRONGDOM\\alice\"", 159,
       "Exception caught: dc1.lab.test: the server is of the domain lab.test (LAB), the user of "
       "WRONGDOM: "},
      {"with a suffix that nobody knows", "alice@wrong.realm", "Alice-Pass1", 19,
       "Invalid username or password for user \"alice@wrong.realm\"", 160, kWrong},
      {"not ASCII", "ünal.öz", "Gizli-Şifre9", 0, "", 0, ""},
      {"wrong", "alice", "Alice-Pass2", 19, "Invalid username or password for user \"alice\"", 160,
       kWrong},
      {"not ASCII, in capitals", "ÜNAL.ÖZ", "Gizli-Şifre9", 0, "", 0, ""},
      {"unknown user", "nobody.here", "Alice-Pass1", 19,
       "Invalid username or password for user \"nobody.here\"", 160, kWrong},
      {"disabled", "bob.disabled", "Bob-Pass1", 6, "Kerberos error: rc=-1765328366 ", 160,
       "Reason: This user can't sign in because this account is currently disabled."},
      {"expired", "carol.expired", "Carol-Pass1", 6, "Kerberos error: rc=-1765328366 ", 160,
       "Reason: The user's account has expired."},
      {"must change", "dave.mustchange", "Dave-Pass1", 6, "Kerberos error: rc=-1765328361 ", 160,
       "Reason: The user's password must be changed before signing in."},
  };
  for (const Logon& logon : logons) {
    SCOPED_TRACE(logon.what);
    const std::string correct =
        "Password for user \"" + std::string(logon.user) + "\" is correct\n";
    const CommandResult auth =
        lab.guest.joinscope({"-A", "lab.test", "-u", logon.user, "-p", logon.password});
    EXPECT_EQ(auth.status, logon.authStatus);
    EXPECT_EQ(auth.err, "");
    EXPECT_THAT(auth.out, testing::StartsWith(logon.authStatus == 0
                                                  ? correct
                                                  : "Unable to connect to server . Reason: " +
                                                        std::string(logon.reason)));
    const CommandResult ntlm =
        lab.guest.joinscope({"-N", "lab.test", "-u", logon.user, "-p", logon.password});
    EXPECT_EQ(ntlm.status, logon.ntlmStatus);
    EXPECT_EQ(ntlm.out, logon.ntlmStatus == 0 ? correct : "");
    EXPECT_THAT(ntlm.err,
                testing::StartsWith(logon.ntlmStatus == 0
                                        ? ""
                                        : "Failed to authenticate user " + std::string(logon.user) +
                                              ".\n" + logon.failure));
  }
}

TEST_F(AccountTest, ShortNamesOfDomains) {
  const std::string correct = "Password for user \"alice\" is correct\n";
  EXPECT_EQ(lab.member.joinscope(withAlice({"-N", "LAB"})), (CommandResult{0, correct, ""}));
  EXPECT_EQ(lab.guest.joinscope(withAlice({"-N", "LAB", "-S", "dc1.lab.test"})),
            (CommandResult{0, correct, ""}));
  EXPECT_EQ(
      lab.guest.joinscope(withAlice({"-N", "OTHER", "-S", "dc1.lab.test"})),
      (CommandResult{159, "",
                     "Failed to authenticate user alice.\nException caught: dc1.lab.test: the "
                     "server is of the domain lab.test (LAB), not of OTHER\n"}));
  const CommandResult stranger =
      lab.member.joinscope({"-C", "-V", "-u", "WRONGDOM\\alice", "-p", "Alice-Pass1"});
  EXPECT_EQ(stranger.status, 19);
  EXPECT_THAT(stranger.err, HasSubstr("  WRONGDOM is not known as the short name of the domain "
                                      "lab.test (it is LAB): "));
  // A controller's UDP answer still says LAB, which nothing signs.
  const auto rename = [](const std::string& name) {
    return "printf 'dn: CN=LAB,CN=Partitions,CN=Configuration,DC=lab,DC=test\nchangetype: "
           "modify\nreplace: nETBIOSName\nnETBIOSName: " +
           name + "\n' | ldbmodify --relax -H $(samba -b | sed -n 's/.*PRIVATE_DIR: //p')/sam.ldb";
  };
  {
    const HostChange renamed(lab.dc, rename("WRONG"), rename("LAB"));
    const CommandResult result =
        lab.member.joinscope({"-A", "-u", "LAB\\alice", "-p", "Alice-Pass1"});
    EXPECT_EQ(result.status, 6);
    EXPECT_THAT(result.out, HasSubstr(", and by the directory that is WRONG\n"));
  }
  // No controller tells its short name: the one of the joined domain is asked, and says itself.
  const HostChange mute(lab.dc,
                        "nft 'add table inet e2e; add chain inet e2e in { type filter hook input "
                        "priority 0; }; add rule inet e2e in udp dport 389 drop'",
                        "nft delete table inet e2e");
  EXPECT_EQ(lab.member.joinscope(withAlice({"-N", "LAB"})), (CommandResult{0, correct, ""}));
}

TEST_F(AccountTest, PasswordsWithoutAController) {
  const HostChange away(lab.guest, "ip route add unreachable 10.99.0.10/32",
                        "ip route del unreachable 10.99.0.10/32");
  const std::vector<std::string> user{"-u", "al\x1bice", "-p", "x", "-V"};
  const auto check = [&](std::vector<std::string> task) {
    task.insert(task.end(), user.begin(), user.end());
    return lab.guest.joinscope(task);
  };
  const CommandResult auth = check({"-A", "lab.test"});
  EXPECT_THAT(auth.out, testing::StartsWith("Unable to connect to server . Reason: "));
  EXPECT_THAT(auth.err, HasSubstr("  Checking user password, domain=lab.test, user=al\\x1Bice\n"));
  EXPECT_EQ(auth.status, 6);
  const CommandResult ntlm = check({"-N", "lab.test"});
  EXPECT_THAT(ntlm.err, HasSubstr("  Checking NTLM user password, domain=lab.test, "
                                  "user=al\\x1Bice\nFailed to authenticate user "
                                  "al\\x1Bice.\nException caught: "));
  EXPECT_EQ(ntlm.status, 159);
  for (const char* task : {"-A", "-N"}) {
    const CommandResult nowhere = check({task});
    EXPECT_THAT(nowhere.out, testing::StartsWith("No domain specified\nSpecify a domain or join "
                                                 "the machine to a domain\n"));
    EXPECT_EQ(nowhere.status, 7);
  }
}

TEST_F(AccountTest, NtlmAsksTheServerThatIsNamed) {
  const auto failed = [](const std::string& reason) {
    return CommandResult{159, "",
                         "Failed to authenticate user alice.\nException caught: " + reason + "\n"};
  };
  const std::pair<const char*, CommandResult> rows[] = {
      {"dc1.lab.test:389", {0, "Password for user \"alice\" is correct\n", ""}},
      {"gone.lab.test", failed("gone.lab.test: the name has no address")},
      {"host1.lab.test", failed("host1.lab.test: SMB connect: 10.99.0.21:445: Connection refused")},
  };
  for (const auto& [server, result] : rows) {
    EXPECT_EQ(lab.guest.joinscope(withAlice({"-N", "lab.test", "-S", server})), result);
  }
}

// Each signs in its own way, also where the policy is to sign nothing.
TEST_F(AccountTest, NtlmIsProvenInEveryDialectAndByEveryPolicy) {
  const std::string file = "/etc/samba/smb.conf";
  const std::string reread = "smbcontrol smbd reload-config && smbcontrol smbd ping >/dev/null";
  for (const char* setting : {"server max protocol = SMB2_10", "server max protocol = SMB3_02",
                              "server max protocol = SMB3_11", "server signing = disabled",
                              "server signing = mandatory", "smb encrypt = required"}) {
    SCOPED_TRACE(setting);
    const HostChange policy(lab.dc,
                            "cp " + file + " /tmp/smb.conf && sed -i 's/^\\[global\\]/&\\n" +
                                setting + "/' " + file + " && " + reread,
                            "cp /tmp/smb.conf " + file + " && " + reread);
    EXPECT_EQ(lab.guest.joinscope(withAlice({"-N", "lab.test"})).status, 0);
    EXPECT_EQ(lab.guest.joinscope({"-N", "lab.test", "-u", "alice", "-p", "alice-pass1"}).status,
              160);
  }
}

TEST_F(AccountTest, FipsModeAllowsNoNtlm) {
  // In the place of all of /proc/sys, as a kernel may have no such file.
  EXPECT_EQ(lab.guest.joinscopeAfter(
                "mkdir -p /tmp/e2e.sys/crypto; echo 1 >/tmp/e2e.sys/crypto/fips_enabled; mount "
                "--bind /tmp/e2e.sys /proc/sys",
                withAlice({"-N", "lab.test"})),
            (CommandResult{7,
                           "FIPS mode is enabled, checking user's password using NTLM over SMB "
                           "authentication is not allowed.\n",
                           ""}));
}

}  // namespace
}  // namespace joinscope::test
