// joincheck against every trouble of lab/trouble/: what it names first, its status, how soon; and
// that nothing stays broken once the remedy has been run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/lab.h"

namespace joinscope::test {
namespace {

constexpr int kWarnings = 1;
constexpr int kBroken = 2;

struct Trouble {
  const char* name;
  const char* first;  ///< the check whose finding comes first
  int status = kBroken;
  double seconds = 2;  ///< that the run may take
};

std::ostream& operator<<(std::ostream& out, const Trouble& trouble) {
  return out << trouble.name;
}

const Trouble kTroubles[] = {
    {"account-deleted", "account.exists"},
    {"account-disabled", "account.enabled"},
    {"account-expired", "account.expired"},
    {"account-locked", "krb.user"},
    {"catalog-closed", "dc.gc"},
    {"cldap-filtered", "dc.ldap-udp", kWarnings, 5},
    {"clock-skew", "time.offset"},
    {"cloned-host", "keytab.keys"},
    {"controller-no-address", "dns.addresses", kWarnings},
    {"controller-stale-address", "dns.stale", kWarnings, 5},
    {"dead-controllers", "dc.answers", kWarnings, 5},
    {"enctypes-account", "keytab.enctypes"},
    {"enctypes-policy", "krb.enctypes"},
    {"first-nameserver-dead", "resolver.answers", kWarnings, 8},
    {"join-rights", "joining.rights"},
    {"kdc-closed", "dc.kdc"},
    {"keytab-bad-key", "keytab.keys"},
    {"keytab-behind", "keytab.keys"},
    {"keytab-damaged", "keytab.readable"},
    {"keytab-missing", "keytab.present"},
    {"keytab-unreadable", "keytab.readable"},
    {"kpasswd-closed", "dc.kpasswd"},
    {"krb5-dead-kdc", "krb.kdc-lines", kBroken, 8},
    {"krb5-malformed", "krb.conf"},
    {"krb5-wrong-realm", "krb.realm"},
    {"ldap-unsigned", "ldap.signing"},
    {"ldaps-only", "dc.ldap", kBroken, 12},
    {"name-too-long", "joining.name"},
    {"nsswitch-mdns", "host.nsswitch"},
    {"own-record-stale", "dns.own", kWarnings},
    {"rdns-ptr", "krb.rdns"},
    {"resolver-dead", "resolver.answers", kBroken, 10.1},
    {"secrets-apart", "join.secrets"},
    {"site-none", "site.subnet", kWarnings},
    {"site-wrong", "site.join", kWarnings},
    {"spn-duplicate", "account.duplicates"},
    {"spn-missing", "account.spns"},
    {"sssd-offline", "join.sssd", kWarnings},
    {"wrong-nameserver", "resolver.domain"},
};

/// On the host that the trouble is of, as somebody would ask who meets it. With `patience` it waits
/// until nothing is broken, as the agent comes back by itself; a user's password is tried once.
CommandResult joincheck(const Lab& lab, std::string_view trouble, bool patience) {
  const std::string command = joincheckBinary();
  const std::string alice = "echo Alice-Pass1 >/tmp/password && chmod 600 /tmp/password && " +
                            command + " -u alice --password-file /tmp/password";
  if (trouble == "account-locked") return lab.member.shell(alice);
  if (trouble == "join-rights" || trouble == "name-too-long") {
    return lab.guest.shell(alice + " --join lab.test");
  }
  return lab.member.shell(command + (patience ? " --wait 40" : ""));
}

/// The first word of the first finding, behind the headline and an empty line.
std::string firstCheck(const std::string& report) {
  const std::size_t line = report.find("\n\n  ");
  if (line == std::string::npos) return "nothing";
  const std::size_t word = line + 4;
  return report.substr(word, report.find(' ', word) - word);
}

/// The run's time, at the end of the line of counts.
double seconds(const std::string& report) {
  const std::size_t end = report.rfind(" s\n");
  if (end == std::string::npos) return -1;
  return std::strtod(report.c_str() + report.rfind(' ', end - 1), nullptr);
}

class TroublesTest : public testing::TestWithParam<Trouble> {};

TEST_P(TroublesTest, IsNamedFirstAndMendedByItsRemedy) {
  const Trouble& trouble = GetParam();
  const Lab lab;
  Lab::command({"break", trouble.name});
  const CommandResult broken = joincheck(lab, trouble.name, false);
  Lab::command({"remedy", trouble.name});
  const CommandResult mended = joincheck(lab, trouble.name, true);
  Lab::command({"repair", trouble.name});

  EXPECT_EQ(int{broken.status}, trouble.status) << broken.out << broken.err;
  EXPECT_EQ(firstCheck(broken.out), trouble.first) << broken.out;
  EXPECT_LE(seconds(broken.out), trouble.seconds) << broken.out;
  EXPECT_LT(int{mended.status}, kBroken) << mended.out << mended.err;
  EXPECT_NE(firstCheck(mended.out), trouble.first) << mended.out;
}

std::string testName(const testing::TestParamInfo<Trouble>& info) {
  std::string name = info.param.name;
  std::erase(name, '-');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, TroublesTest, testing::ValuesIn(kTroubles), testName);

}  // namespace
}  // namespace joinscope::test
