// Transfers on the way to the cloud platform: through web proxies, with checked certificates, and
// with tickets that are fetched once and renewed when they no longer fit.
#include <gmock/gmock.h>

#include "tests/e2e/cloud_stage.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kPage = "http://web1.lab.test:8080/plain.txt";
const std::string kGet = "get " + kPage + "\n";
const std::string kWeb1 = "proxy proxy1.lab.test:3128 Negotiate web.one@lab.test Web-One-Pass1\n";
const std::string kLog = "/tmp/transfer.log";

/// Counts requests for initial credentials (RFC 4120, 5.4.1: application tag 10) at the controller.
class InitialRequests {
 public:
  explicit InitialRequests(const Host& dc) : dc_(dc) {
    dc_.must(
        "nft -f - <<'END'\ntable inet count { chain in { type filter hook input priority 0; "
        "udp dport 88 @ih,0,8 0x6a counter; tcp dport 88 @ih,32,8 0x6a counter; }; }\nEND");
  }
  InitialRequests(const InitialRequests&) = delete;
  InitialRequests& operator=(const InitialRequests&) = delete;
  ~InitialRequests() { (void)dc_.shell("nft delete table inet count"); }

  int count() const {
    return std::stoi(
        dc_.must("nft list table inet count | sed -n 's/.*packets \\([0-9]*\\).*/\\1/p' | "
                 "paste -sd+ | bc"));
  }

 private:
  const Host& dc_;
};

class TransferTest : public CloudTest {
 protected:
  /// What the transfers of these lines come to.
  std::string transfers(const std::string& lines) const {
    return lab.member.run({JOINSCOPE_TRANSFER_CALLER, kLog}, {.input = lines}).out;
  }
  /// Transfers that say how far they are and wait for files named /tmp/stepN.
  RunningCommand steps(const std::string& lines) const {
    lab.member.must("rm -f /tmp/step*");
    return lab.member.start({JOINSCOPE_TRANSFER_CALLER, kLog}, {.input = lines});
  }
  /// One column of the lines that the proxy has written about its requests.
  std::string seen(const std::string& column) const {
    return proxy.must("awk '{print " + column + "}' /run/squid/negotiate.log");
  }
  /// Gives the account another password; its keytab in base64.
  std::string newKey(const std::string& account, const std::string& principal) const {
    return lab.dc.must("samba-tool user setpassword '" + account +
                       "' --newpassword=Other-Pass77 >&2; rm -f /tmp/k; samba-tool domain "
                       "exportkeytab /tmp/k --principal=" +
                       principal + " >&2; base64 -w0 /tmp/k");
  }
};

TEST_F(TransferTest, TransfersThroughEachKindOfProxy) {
  const std::string secure = "https://web1.lab.test:8443/plain.txt";
  EXPECT_EQ(transfers("trust /etc/ssl/lab/ca.pem\n" + kWeb1 + kGet + "get " + secure +
                      "\nproxy webproxy.lab.test:3128 Negotiate S-1-5-18 -\nget " + secure +
                      "\nproxy proxy1.lab.test:3129 Basic basicuser Basic-Pass1\npost " + secure +
                      " body\nproxy proxy1.lab.test:3129 Basic basicuser wrong\nget " + secure +
                      "\nproxy proxy1.lab.test:3130 - - -\nget " + secure +
                      "\nproxy proxy1.lab.test:3128 AnyAuth web.two Web-Two-Pass1\n" + kGet),
            "200 6\n200 6\n200 6\n200 6\n407 0\n200 6\n200 6\n");
  // One object, two users: each request is its own user's.
  proxy.must(": > /run/squid/negotiate.log");
  (void)transfers(kWeb1 + kGet +
                  "proxy proxy1.lab.test:3128 Negotiate web.two@LAB.TEST Web-Two-Pass1\n" + kGet);
  EXPECT_EQ(seen("$NF"), "web.one@LAB.TEST\nweb.two@LAB.TEST\n");
  const HostChange strict(
      lab.member,
      "cp /etc/krb5.conf /root/krb5.conf.e2e; sed -i '/libdefaults/a permitted_enctypes = "
      "camellia256-cts' /etc/krb5.conf",
      "cp /root/krb5.conf.e2e /etc/krb5.conf");
  lab.member.must(": > " + kLog);
  (void)transfers(kWeb1 + kGet);
  EXPECT_THAT(lab.member.must("cat " + kLog),
              HasSubstr("Failed to get/store Kerberos credential to access HTTP Proxy Server"))
      << "the KDC has no key of the one type that krb5.conf permits";
}

TEST_F(TransferTest, CertificatesAreChecked) {
  const std::string get = "get https://web1.lab.test:";
  const std::string refused =
      "failed 60: curl error occurred in curl_easy_perform: SSL peer certificate or SSH remote key "
      "was not OK (60)\n";
  const std::string all = "checks\n" + get + "8443/plain.txt\n" + get + "8444/plain.txt\n" + get +
                          "8445/plain.txt\n" + get + "8446/plain.txt\n";
  configure(kPlatform);
  EXPECT_EQ(transfers(all), "200 6\n" + refused + refused + refused);
  // The one place that is configured counts, and not the other that the library looks into.
  const std::string good = get + "8443/plain.txt\n";
  configure("adsec.cert.dir: /etc/ssl/lab\nvelkd.cloud.cert.store: /etc/ssl/lab/cloud1.crt\n");
  EXPECT_EQ(transfers("checks\n" + good + "pin\n" + good), "200 6\n" + refused);
  configure("adsec.cert.dir: /etc\n");
  EXPECT_EQ(transfers("trust /etc/ssl/lab/ca.pem\n" + good + "checks\n" + good),
            "200 6\n" + refused);
  configure(kPlatform + "velkd.iwa.skip.cert.verification: true\n");
  EXPECT_EQ(transfers(all), "200 6\n200 6\n200 6\n200 6\n");
}

TEST_F(TransferTest, SiteCheckLogsTheComputerOn) {
  configure(kPlatform);
  const std::string site = "site https://web1.lab.test:8443/";
  const std::string principal = " HTTP/web1.lab.test@LAB.TEST\n";
  EXPECT_EQ(transfers("header X-PELLION-NATIVE-CLIENT 1\n" + site + principal + site + "refused/" +
                      principal + site + "nobrace/" + principal + site + "half/" + principal +
                      site + principal),
            "site 0 success\nsite 4 failure\nsite 2 \nsite 3 \nsite 0 success\n");
}

TEST_F(TransferTest, TheComputersTicketFollowsTheServersKeyAndTheJoin) {
  configure(kPlatform);
  const std::string site =
      "header X-PELLION-NATIVE-CLIENT 1\n"
      "site https://web1.lab.test:8443/ HTTP/web1.lab.test@LAB.TEST\n";
  const HostChange name(lab.member, "cp /var/orvald/kset.prew2khostname /tmp/name",
                        "cp /tmp/name /var/orvald/kset.prew2khostname");
  RunningCommand running = steps(site + "say step1\nawait /tmp/step2\n" + site +
                                 "say step3\nawait /tmp/step4\n" + "on another\n" + site);
  ASSERT_TRUE(running.waitForError("step1"));
  const std::string key = newKey("WEB1$", "HTTP/web1.lab.test");
  web.must("echo " + key + " | base64 -d > /run/web/web1.keytab");
  lab.member.must("touch /tmp/step2");
  ASSERT_TRUE(running.waitForError("step3"));
  lab.member.must("echo NOSUCH > /var/orvald/kset.prew2khostname; touch /tmp/step4");
  EXPECT_THAT(running.wait().out, StartsWith("site 0 success\nsite 0 success\nfailed "));
}

TEST_F(TransferTest, CredentialsAreFetchedOnce) {
  const InitialRequests requests(lab.dc);
  const auto cost = [&](const std::string& lines) {
    const int before = requests.count();
    EXPECT_THAT(transfers(lines), Not(HasSubstr("failed")));
    return requests.count() - before;
  };
  // One for the computer account, which looks the proxy's name up, and the user's two: without and
  // with pre-authentication.
  const int one = cost(kWeb1 + kGet);
  EXPECT_EQ(cost(kWeb1 + kGet + "on two\n" + kWeb1 + kGet + "on three\n" + kWeb1 +
                 "both two three " + kPage + "\n"),
            one);
  // Another password is no reason to use what the first one got, and is tried once.
  const std::string wrong = "proxy proxy1.lab.test:3128 Negotiate web.one@lab.test other\n" + kGet;
  const int refused = cost(wrong);
  EXPECT_EQ(cost(wrong + "on two\n" + wrong), refused);
  EXPECT_THAT(transfers(kWeb1 + kGet + "on two\n" + wrong), StartsWith("200 6\n407 "));
  configure("cloud.proxy.cred.exp.chk.time: 40000\n");
  EXPECT_GT(cost(kWeb1 + kGet + "on two\n" + kWeb1 + kGet), one);
}

/// Gives the proxy another keytab; its helper has the old one in memory.
constexpr const char* kNewHelpers =
    "; pkill negotiate_kerb; sleep 0.2; : > /run/squid/negotiate.log";

TEST_F(TransferTest, RefusedTicketIsRenewedOnce) {
  RunningCommand running = steps(kWeb1 + kGet + "say step1\nawait /tmp/step2\n" + kGet +
                                 "say step3\nawait /tmp/step4\n"
                                 "proxy proxy1.lab.test:3128 Negotiate web.two@lab.test "
                                 "Web-Two-Pass1\n" +
                                 kGet);
  ASSERT_TRUE(running.waitForError("step1"));
  const std::string key = newKey("PROXY1$", "HTTP/proxy1.lab.test");
  proxy.must("echo " + key + " | base64 -d > /run/squid/proxy1.keytab" + kNewHelpers);
  lab.member.must("touch /tmp/step2");
  ASSERT_TRUE(running.waitForError("step3"));
  EXPECT_EQ(seen("$3"), "407\n200\n");
  // Now the proxy itself has a key that nobody uses any more: new tickets do not help.
  lab.dc.must("samba-tool user setpassword 'PROXY1$' --newpassword=Third-Pass77");
  proxy.must(": > /run/squid/negotiate.log");
  lab.member.must("touch /tmp/step4");
  const std::string out = running.wait().out;
  EXPECT_THAT(out, StartsWith("200 6\n200 6\n407 "));
  EXPECT_EQ(seen("$3"), "407\n407\n");
  Lab::command({"scenario", "web", "on"});  // with keys that fit
}

}  // namespace
}  // namespace joinscope::test
