// The way to the cloud platform: real web proxies, a real web server with Kerberos, and a strict
// platform behind them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/lab.h"
#include "tests/support/process.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kPage = "http://web1.lab.test:8080/plain.txt";
constexpr const char* kLog = "/tmp/transfer.log";
constexpr const char* kWeb1 =
    "proxy proxy1.lab.test:3128 Negotiate web.one@lab.test Web-One-Pass1\n";

/// Counts requests for initial credentials (RFC 4120, 5.4.1: application tag 10) at the controller.
class InitialRequests {
 public:
  explicit InitialRequests(const Host& dc) : dc_(dc) {
    dc_.must(
        "nft -f - <<'END'\ntable inet count { chain in { type filter hook input priority 0; udp "
        "dport "
        "88 @ih,0,8 0x6a counter; tcp dport 88 @ih,32,8 0x6a counter; }; }\nEND");
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

class CloudTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { Lab::command({"scenario", "web", "on"}); }
  static void TearDownTestSuite() { Lab::command({"scenario", "web", "off"}); }
  void SetUp() override { lab.member.must("cp /etc/orvald/orvald.conf /root/conf.cloud"); }
  void TearDown() override {
    lab.member.must(
        "cp /root/conf.cloud /etc/orvald/orvald.conf; rm -f /var/orvald/httpproxy.cred "
        "/var/orvald/*cloudconnectors");
    Lab::command({"daemon", "stop"});
    Lab::command({"daemon", "start"});
  }

  /// What the transfers of these lines come to.
  std::string transfers(const std::string& lines) const {
    return lab.member.run({JOINSCOPE_TRANSFER_CALLER, kLog}, {.input = lines}).out;
  }
  void configure(const std::string& lines) const {
    lab.member.must("cat /root/conf.cloud - > /etc/orvald/orvald.conf <<'END'\n" + lines + "END");
  }
  /// With an empty log.
  void restartDaemon() const {
    Lab::command({"daemon", "stop"});
    lab.member.must(": > /var/log/orvald.log");
    Lab::command({"daemon", "start"});
  }
  /// Starts a platform with this script on cloud1.
  RunningCommand platform(const std::string& script, const std::string& port = "8443") const {
    return cloud.start({JOINSCOPE_PLATFORM, "10.99.0.62", port, "/etc/ssl/lab/cloud1.crt",
                        "/etc/ssl/lab/cloud1.key", "/tmp/record"},
                       {.input = script});
  }
  /// Gives the account another password; its keytab in base64.
  std::string newKey(const std::string& account, const std::string& principal) const {
    return lab.dc.must("samba-tool user setpassword '" + account +
                       "' --newpassword=Other-Pass77 >&2; rm -f /tmp/k; samba-tool domain "
                       "exportkeytab /tmp/k --principal=" +
                       principal + " >&2; base64 -w0 /tmp/k");
  }
  CommandResult mfa(const std::string& user, const std::string& input) const {
    return lab.member.run({daemonBinary(), "mfa", user}, {.input = input});
  }

  Lab lab;
  Host proxy{"proxy1"}, web{"web1"}, cloud{"cloud1"};
};

/// Everything towards the platform of cloud1, by way of the connectors' settings.
constexpr const char* kPlatform =
    "velkd.legacyzone.mfa.enabled: true\n"
    "velkd.legacyzone.mfa.cloudurl: https://cloud1.lab.test:8443/\n"
    "velkd.legacyzone.mfa.tenantid: LAB0001\n"
    "velkd.cloud.cert.store: /etc/ssl/lab/ca.pem\n"
    "adsec.cert.dir: /etc/ssl/lab\n"
    "cloud.iwa.url.override: https://web1.lab.test:8443/\n"
    "root.logger.name: TRACE\n";

/// Waits until the daemon knows the platform and its connectors.
constexpr const char* kRefreshed =
    "timeout 30 bash -c 'until grep -q \"Refresh cloud connectors info done\" "
    "/var/log/orvald.log; do sleep 0.1; done'";

TEST_F(CloudTest, TransfersThroughEachKindOfProxy) {
  const std::string secure = "https://web1.lab.test:8443/plain.txt";
  EXPECT_EQ(
      transfers("trust /etc/ssl/lab/ca.pem\n" + std::string(kWeb1) + "get " + kPage + "\nget " +
                secure + "\nproxy webproxy.lab.test:3128 Negotiate S-1-5-18 -\nget " + secure +
                "\nproxy proxy1.lab.test:3129 Basic basicuser Basic-Pass1\npost " + secure +
                " body\nproxy proxy1.lab.test:3129 Basic basicuser wrong\nget " + secure +
                "\nproxy proxy1.lab.test:3130 - - -\nget " + secure +
                "\nproxy proxy1.lab.test:3128 AnyAuth web.two Web-Two-Pass1\nget " + kPage + "\n"),
      "200 6\n200 6\n200 6\n200 6\n407 0\n200 6\n200 6\n");
  // One object, two users: each request is its own user's.
  proxy.must(": > /run/squid/negotiate.log");
  (void)transfers(std::string(kWeb1) + "get " + kPage +
                  "\nproxy proxy1.lab.test:3128 Negotiate web.two@LAB.TEST Web-Two-Pass1\nget " +
                  kPage + "\n");
  EXPECT_EQ(proxy.must("awk '{print $NF}' /run/squid/negotiate.log"),
            "web.one@LAB.TEST\nweb.two@LAB.TEST\n");
  const HostChange strict(
      lab.member,
      "cp /etc/krb5.conf /root/krb5.conf.e2e; sed -i '/libdefaults/a permitted_enctypes = "
      "camellia256-cts' /etc/krb5.conf",
      "cp /root/krb5.conf.e2e /etc/krb5.conf");
  lab.member.must(std::string(": > ") + kLog);
  (void)transfers(std::string(kWeb1) + "get " + kPage + "\n");
  EXPECT_THAT(lab.member.must(std::string("cat ") + kLog),
              HasSubstr("Failed to get/store Kerberos credential to access HTTP Proxy Server"))
      << "the KDC has no key of the one type that krb5.conf permits";
}

TEST_F(CloudTest, CertificatesAreChecked) {
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
  configure(std::string(kPlatform) + "velkd.iwa.skip.cert.verification: true\n");
  EXPECT_EQ(transfers(all), "200 6\n200 6\n200 6\n200 6\n");
}

TEST_F(CloudTest, SiteCheckLogsTheComputerOn) {
  configure(kPlatform);
  const std::string site = "site https://web1.lab.test:8443/";
  const std::string principal = " HTTP/web1.lab.test@LAB.TEST\n";
  EXPECT_EQ(transfers("header X-PELLION-NATIVE-CLIENT 1\n" + site + principal + site + "refused/" +
                      principal + site + "nobrace/" + principal + site + "half/" + principal +
                      site + principal),
            "site 0 success\nsite 4 failure\nsite 2 \nsite 3 \nsite 0 success\n");
}

TEST_F(CloudTest, TheComputersTicketFollowsTheServersKeyAndTheJoin) {
  configure(kPlatform);
  const std::string site =
      "header X-PELLION-NATIVE-CLIENT 1\n"
      "site https://web1.lab.test:8443/ HTTP/web1.lab.test@LAB.TEST\n";
  const HostChange files(lab.member, "cp /var/orvald/kset.prew2khostname /tmp/name",
                         "rm -f /tmp/step*; cp /tmp/name /var/orvald/kset.prew2khostname");
  RunningCommand running =
      lab.member.start({JOINSCOPE_TRANSFER_CALLER, kLog},
                       {.input = site + "say step1\nawait /tmp/step2\n" + site +
                                 "say step3\nawait /tmp/step4\n" + "on another\n" + site});
  ASSERT_TRUE(running.waitForError("step1"));
  const std::string key = newKey("WEB1$", "HTTP/web1.lab.test");
  web.must("echo " + key + " | base64 -d > /run/web/web1.keytab");
  lab.member.must("touch /tmp/step2");
  ASSERT_TRUE(running.waitForError("step3"));
  lab.member.must("echo NOSUCH > /var/orvald/kset.prew2khostname; touch /tmp/step4");
  EXPECT_THAT(running.wait().out, StartsWith("site 0 success\nsite 0 success\nfailed "));
}

TEST_F(CloudTest, CredentialsAreFetchedOnce) {
  const InitialRequests requests(lab.dc);
  const auto cost = [&](const std::string& lines) {
    const int before = requests.count();
    EXPECT_THAT(transfers(lines), Not(HasSubstr("failed")));
    return requests.count() - before;
  };
  const std::string get = std::string("get ") + kPage + "\n";
  // One for the computer account, which looks the proxy's name up, and the user's two: without and
  // with pre-authentication.
  const int one = cost(kWeb1 + get);
  EXPECT_EQ(cost(kWeb1 + get + "on two\n" + kWeb1 + get + "on three\n" + kWeb1 + "both two three " +
                 kPage + "\n"),
            one);
  // Another password is no reason to use what the first one got, and is tried once.
  const std::string wrong = "proxy proxy1.lab.test:3128 Negotiate web.one@lab.test other\n" + get;
  const int refused = cost(wrong);
  EXPECT_EQ(cost(wrong + "on two\n" + wrong), refused);
  EXPECT_THAT(transfers(kWeb1 + get + "on two\n" + wrong), StartsWith("200 6\n407 "));
  configure("cloud.proxy.cred.exp.chk.time: 40000\n");
  EXPECT_GT(cost(kWeb1 + get + "on two\n" + kWeb1 + get), one);
}

/// Gives the proxy another keytab; its helper has the old one in memory.
constexpr const char* kNewHelpers =
    "; pkill negotiate_kerb; sleep 0.2; : > /run/squid/negotiate.log";

TEST_F(CloudTest, RefusedTicketIsRenewedOnce) {
  const std::string get = std::string("get ") + kPage + "\n";
  const HostChange files(lab.member, "rm -f /tmp/step*", "rm -f /tmp/step*");
  RunningCommand running =
      lab.member.start({JOINSCOPE_TRANSFER_CALLER, kLog},
                       {.input = kWeb1 + get + "say step1\nawait /tmp/step2\n" + get +
                                 "say step3\nawait /tmp/step4\n"
                                 "proxy proxy1.lab.test:3128 Negotiate web.two@lab.test "
                                 "Web-Two-Pass1\n" +
                                 get});
  ASSERT_TRUE(running.waitForError("step1"));
  const std::string key = newKey("PROXY1$", "HTTP/proxy1.lab.test");
  proxy.must("echo " + key + " | base64 -d > /run/squid/proxy1.keytab" + kNewHelpers);
  lab.member.must("touch /tmp/step2");
  ASSERT_TRUE(running.waitForError("step3"));
  EXPECT_EQ(proxy.must("awk '{print $3}' /run/squid/negotiate.log"), "407\n200\n");
  // Now the proxy itself has a key that nobody uses any more: new tickets do not help.
  lab.dc.must("samba-tool user setpassword 'PROXY1$' --newpassword=Third-Pass77");
  proxy.must(": > /run/squid/negotiate.log");
  lab.member.must("touch /tmp/step4");
  const std::string out = running.wait().out;
  EXPECT_THAT(out, StartsWith("200 6\n200 6\n407 "));
  EXPECT_EQ(proxy.must("awk '{print $3}' /run/squid/negotiate.log"), "407\n407\n");
  Lab::command({"scenario", "web", "on"});  // with keys that fit
}

TEST_F(CloudTest, OrbinfoTellsTheWay) {
  EXPECT_EQ(lab.member.joinscope({"--orbinfo"}),
            (CommandResult{184, "", "Failed to get ORB info from velkd.\n"}));
  // The daemon looks for the platform in the background.
  const auto orbinfo = [this] {
    CommandResult result;
    constexpr std::chrono::seconds kLimit{30};
    const auto end = std::chrono::steady_clock::now() + kLimit;
    do {
      result = lab.member.joinscope({"--orbinfo"});
    } while (result.status == 184 && std::chrono::steady_clock::now() < end);
    return result;
  };
  const std::string address = "https://cloud1.lab.test:8443/,";
  configure(std::string(kPlatform) + "cloud.direct.connection: true\n");
  restartDaemon();
  EXPECT_EQ(orbinfo(), (CommandResult{181, address + "\n", ""}));
  configure(std::string(kPlatform) +
            "cloud.proxy.server: proxy1.lab.test:3128\ncloud.proxy.auth.required: true\n"
            "cloud.proxy.auth.type: Negotiate\nvelkd.cloud.log.privevent: true\n");
  const CommandResult stored =
      lab.member.run({daemonBinary(), "proxy-credential", "set", "web.one@lab.test"},
                     {.input = "Web-One-Pass1\n"});
  EXPECT_EQ(stored.out, "Stored the user for the web proxy in /var/orvald/httpproxy.cred.\n");
  restartDaemon();
  RunningCommand server =
      platform(R"({"client":"orb","answers":{"sysinfo/version":[{"json":{},"repeat":true}],)"
               R"("security/sso":[{"json":{"success":true},"repeat":true}]}})");
  ASSERT_TRUE(server.waitForError("ready"));
  EXPECT_EQ(orbinfo(), (CommandResult{182, address + "proxy1.lab.test:3128\n", ""}));
  EXPECT_EQ(lab.member.must("grep -c Web-One-Pass1 /var/log/orvald.log; true"), "0\n");
  // The event processor has been through the proxy, too, and nobody keeps what is taken away.
  lab.member.must(
      "timeout 30 bash -c 'until grep -q sso: /var/log/orvald.log; do sleep 0.1; done'");
  const pid_t daemon = findProcess("velkd", lab.member.initProcess());
  EXPECT_GE(countInMemory(daemon, "Web-One-Pass1"), 3U);
  const CommandResult cleared = lab.member.run({daemonBinary(), "proxy-credential", "clear"});
  EXPECT_EQ(cleared.out, "Removed /var/orvald/httpproxy.cred.\n");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (countInMemory(daemon, "Web-One-Pass1") != 0 && std::chrono::steady_clock::now() < end) {
  }
  EXPECT_EQ(countInMemory(daemon, "Web-One-Pass1"), 0U);
  configure(std::string(kPlatform) + "cloud.direct.connection: true\n");
  lab.member.must("kill -HUP $(pgrep -x velkd)");
  EXPECT_EQ(orbinfo(), (CommandResult{180, address + "\n", ""}));
  EXPECT_EQ(lab.member.joinscope({"--orbinfo"}, {.user = "tester"}).status, 9);
  EXPECT_EQ(lab.guest.joinscope({"--orbinfo"}),
            (CommandResult{10, "", "Not joined to any domain.\n"}));
}

TEST_F(CloudTest, OrbinfoOfTheStoredSettings) {
  struct Row {
    const char* description;
    const char* stored;
    const char* settings;
    CommandResult result;
  };
  const std::string unknown = "Failed to get ORB info.\n";
  const std::string line = "https://p/|A|conn.test|x|8080|s|i";
  const Row rows[] = {
      {"nothing stored", "", "", {184, "", unknown}},
      {"only line feeds", "\\n\\n", "", {184, "", unknown}},
      {"six fields", "https://p/|A|c|x|1|s", "", {184, "", ""}},
      {"no address", "|A|c|x|1|s|i", "", {184, "", ""}},
      {"empty fields count", "https://p/||||||", "", {183, "https://p/,:\n", ""}},
      {"connector", line.c_str(), "", {183, "https://p/,conn.test:8080\n", ""}},
      {"direct", line.c_str(), "cloud.direct.connection: yes", {183, "https://p/,\n", ""}},
      {"proxy", line.c_str(), "cloud.proxy.server: w.test", {183, "https://p/,w.test:8080\n", ""}},
      {"proxy without its credential",
       line.c_str(),
       "cloud.proxy.server: w.test\ncloud.proxy.auth.required: true",
       {184, "", unknown}},
  };
  Lab::command({"daemon", "stop"});
  for (const Row& row : rows) {
    configure(std::string(row.settings) + "\n");
    lab.member.must(std::string("printf '") + row.stored + "' > /var/orvald/kset.cloudconnectors");
    EXPECT_EQ(lab.member.joinscope({"--orbinfo"}), row.result) << row.description;
  }
}

TEST_F(CloudTest, EventsArePostedInOrder) {
  RunningCommand server = platform(
      R"({"client":"orb","answers":{"security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=one; path=/"},)"
      R"("json":{"success":true}}],"tqsintegration/LogPrivEvent":[{"json":{"success":true},"repeat":true}]}})");
  ASSERT_TRUE(server.waitForError("ready"));
  configure(std::string(kPlatform) +
            "velkd.cloud.log.privevent: true\ncloud.proxy.server: proxy1.lab.test:3130\n");
  restartDaemon();
  lab.member.must(
      "timeout 30 bash -c 'until grep -q \"initProc completes\" /var/log/orvald.log; do "
      "sleep 0.1; done'");
  std::vector<std::string> calls{JOINSCOPE_RPC_CALLER};
  for (const char* value : {"1", "2", "3"}) {
    calls.push_back(
        R"({"method":"org.orvald.velkd.LogPrivilegeEvent","parameters":{"fields":[{"key":"e","value":")" +
        std::string(value) + R"("}]}})");
  }
  EXPECT_EQ(lab.member.run(calls).out,
            "{\"parameters\":{}}\n{\"parameters\":{}}\n{\"parameters\":{}}\n");
  cloud.must("timeout 30 bash -c 'until grep -q \"e.....3\" /tmp/record; do sleep 0.1; done'");
  EXPECT_EQ(cloud.must("grep -o 'e\\\\\":\\\\\"[0-9]' /tmp/record | grep -o '[0-9]'"), "1\n2\n3\n");
  EXPECT_EQ(cloud.must("grep -vc '\"faults\":\\[\\]' /tmp/record; true"), "0\n");
}

TEST_F(CloudTest, UserIsAuthenticatedByHand) {
  const std::string policy =
      R"({"success":true,"Result":{"SessionId":"s","TenantId":"t","Version":"1.0","Challenges":[)"
      R"({"Mechanisms":[{"MechanismId":"m1","Name":"UP","AnswerType":"Text"},)"
      R"({"MechanismId":"m2","Name":"SQ","AnswerType":"Text","Question":"Pet?"}]},)"
      R"({"Mechanisms":[{"MechanismId":"m3","Name":"OTP","AnswerType":"StartTextOob"}]}]}})";
  const auto summary = [](const std::string& word) {
    return R"({"json":{"success":true,"Result":{"Summary":")" + word + R"("}}})";
  };
  RunningCommand server = platform(
      R"({"client":"v1s","answers":{"security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=m; path=/"},)"
      R"("json":{"success":true},"repeat":true}],"security/startimpersonate":[{"headers":{"Set-Cookie":)"
      R"(".ASPXAUTH=u; path=/"},"json":{"success":true},"repeat":true}],"tqsintegration/mfalogin":[)"
      R"({"json":{"ErrorID":"ChallengeRequired","ChallengeId":"c"}},{"json":{"success":true}},)"
      R"({"json":{"ErrorID":"NotConfigured"}}],"security/startchallenge":[{"json":)" +
      policy + R"(}],"security/AdvanceAuthentication":[)" + summary("StartNextChallenge") + "," +
      summary("OobPending") + "," + summary("OobPending") + "," + summary("LoginSuccess") + "]}}");
  ASSERT_TRUE(server.waitForError("ready"));
  configure(std::string(kPlatform) + "cloud.proxy.server: proxy1.lab.test:3130\n");
  Lab::command({"daemon", "stop"});
  lab.member.must(
      "rm -f /tmp/tls.keys; : > /var/log/orvald.log; SSLKEYLOGFILE=/tmp/tls.keys setsid " +
      daemonBinary() + " >/dev/null 2>&1 &");
  lab.member.must(kRefreshed);
  // The second way of the first challenge; then the code is left empty and the platform polled.
  // Longer than the calls that follow, which could overwrite it otherwise.
  const CommandResult good =
      mfa("ann@lab.test", "2\n" + std::string(500, 'x') + "Rex-Findable\n\n");
  EXPECT_EQ(good.status, 0) << good;
  EXPECT_THAT(good.out,
              StartsWith("  1  User Password\n  2  Answer Security Question\nWhich one? "));
  EXPECT_THAT(good.out, HasSubstr("The platform has authenticated ann@lab.test.\n"));
  const CommandResult bad = mfa("bob", "");
  EXPECT_EQ(bad.status, 6) << bad;
  EXPECT_THAT(bad.err, HasSubstr("cannot authenticate user 'bob'"));
  EXPECT_EQ(cloud.must("grep -vc '\"faults\":\\[\\]' /tmp/record; true"), "0\n");
  EXPECT_EQ(lab.member.must("grep -c Rex-Findable /var/log/orvald.log; true"), "0\n");
  EXPECT_EQ(lab.member.must("ls /tmp/tls.keys 2>/dev/null; true"), "");
  const pid_t daemon = findProcess("velkd", lab.member.initProcess());
  EXPECT_EQ(countInMemory(daemon, "Rex-Findable"), 0U);
  EXPECT_THAT(lab.member.joinscope({"--sysinfo", "orb"}).out,
              HasSubstr("Pellion MFA Service Connections maximum: 10"));
}

/// The connectors of the directory, of which only the second, conn2, is there: on the proxy's host.
class ConnectorHosts {
 public:
  ConnectorHosts(const Host& member, const Host& proxy)
      : route_(member, "ip route add 10.1.1.42 via 10.99.0.60", "ip route del 10.1.1.42"),
        address_(proxy, "ip address add 10.1.1.42/32 dev lo",
                 "ip address del 10.1.1.42/32 dev lo") {
    Lab::command({"scenario", "connectors", "on"});
    Lab::command({"dns", "add", "cloud.lab.test", "A", "10.99.0.62"});
  }
  ConnectorHosts(const ConnectorHosts&) = delete;
  ConnectorHosts& operator=(const ConnectorHosts&) = delete;
  ~ConnectorHosts() {
    Lab::command({"dns", "remove", "cloud.lab.test", "A", "10.99.0.62"});
    Lab::command({"scenario", "connectors", "off"});
  }

 private:
  HostChange route_, address_;
};

TEST_F(CloudTest, ConnectorIsTheProxyAndADeadOneIsLeft) {
  const ConnectorHosts connectors(lab.member, proxy);
  const std::string settings =
      "velkd.legacyzone.mfa.enabled: true\nvelkd.legacyzone.mfa.cloudurl: https://cloud.lab.test\n"
      "velkd.legacyzone.mfa.tenantid: LAB0001\nvelkd.cloud.cert.store: /etc/ssl/lab/ca.pem\n"
      "cloud.connector.trusted: OU=Connectors,DC=lab,DC=test\ncloud.curl.timeout: "
      "2\nroot.logger.name: DEBUG\n";
  configure(settings + "cloud.rest.version: 1.0\n");
  restartDaemon();
  lab.member.must(kRefreshed);
  proxy.must(": > /run/squid/open.log");
  {
    RunningCommand server = platform(
        R"({"client":"v1","answers":{"security/StartAuthentication":[{"json":{"success":true,"Result":)"
        R"({"SessionId":"s","TenantId":"t","Version":"1.0","Challenges":[{"Mechanisms":[)"
        R"({"MechanismId":"m","Name":"UP","AnswerType":"Text"}]}]}}}],"security/AdvanceAuthentication":)"
        R"([{"json":{"success":true,"Result":{"Summary":"LoginSuccess"}}}]}})",
        "443");
    ASSERT_TRUE(server.waitForError("ready"));
    EXPECT_EQ(mfa("ann", "secret\n").status, 0);
  }
  EXPECT_THAT(lab.member.joinscope({"--sysinfo", "orb"}).out,
              HasSubstr("Current used connector: conn2.lab.test\n"));
  EXPECT_THAT(proxy.must("cat /run/squid/open.log"), HasSubstr("CONNECT cloud.lab.test:443"));
  configure(settings + "cloud.rest.version: 0\n");
  lab.member.must("kill -HUP $(pgrep -x velkd)");
  RunningCommand server = platform(
      R"({"client":"v0","answers":{"security/GetAuthPolicy":[{"json":{"success":true,"Result":)"
      R"({"recId":"r","mechs":[{"mechId":"UP","required":"True"},{"mechId":"EMAIL"}]}}}],)"
      R"("security/MultiAuthLogin":[{"json":{"success":true}}],"security/MoveToNextLoginPage":)"
      R"([{"json":{"success":true}},{"json":{"success":true,"Result":{"status":"Move"}}}]}})",
      "443");
  ASSERT_TRUE(server.waitForError("ready"));
  const CommandResult two = mfa("ann", "secret\n\n");
  EXPECT_EQ(two.status, 0) << two;
  EXPECT_THAT(two.out, HasSubstr("An email has been sent to your registered email address.\n"));
  EXPECT_EQ(cloud.must("grep -vc '\"faults\":\\[\\]' /tmp/record; true"), "0\n");
}

// A computer that has been taken over publishes itself as a connector, to a platform of its own.
TEST_F(CloudTest, ConnectorThatAComputerPublishesItselfIsNotUsed) {
  const std::string asComputer = "kinit -k 'HOST1$' -c /tmp/host1.cc && KRB5CCNAME=/tmp/host1.cc ";
  const std::string object = "CN=proxy,CN=HOST1,CN=Computers,DC=lab,DC=test";
  const HostChange published(
      lab.member,
      asComputer + "ldapadd -Q -Y GSSAPI -H ldap://dc1.lab.test <<'END'\ndn: " + object +
          "\nobjectClass: serviceConnectionPoint\n"
          "keywords: pellion.core.cloudurl:https://cloud1.lab.test:8443/\n"
          "keywords: pellion.mobile.proxySysId:LAB0001\n"
          "keywords: pellion.core.webproxy:proxy1.lab.test:3130\n"
          "keywords: pellion.core.webproxyenabled:true\n"
          "keywords: pellion.core.iwa.enabled:true\n"
          "keywords: pellion.core.iwa.hostname:web1.lab.test\n"
          "keywords: pellion.core.iwa.httpsPort:8443\nEND",
      asComputer + "ldapdelete -Q -Y GSSAPI -H ldap://dc1.lab.test '" + object + "'");
  RunningCommand server = platform(
      R"({"client":"v1s","answers":{"security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=m; path=/"},)"
      R"("json":{"success":true}}],"security/startimpersonate":[{"headers":{"Set-Cookie":)"
      R"(".ASPXAUTH=u; path=/"},"json":{"success":true}}],"tqsintegration/mfalogin":[)"
      R"({"json":{"success":true}}]}})");
  ASSERT_TRUE(server.waitForError("ready"));
  const std::string settings =
      "velkd.legacyzone.mfa.enabled: true\nvelkd.legacyzone.mfa.tenantid: LAB0001\n"
      "velkd.cloud.cert.store: /etc/ssl/lab/ca.pem\nadsec.cert.dir: /etc/ssl/lab\n";
  configure(settings);
  restartDaemon();
  lab.member.must(kRefreshed);
  const CommandResult refused = mfa("root", "");
  EXPECT_EQ(refused.status, 6) << refused;
  EXPECT_THAT(refused.out, Not(HasSubstr("authenticated")));
  EXPECT_THAT(lab.member.must("cat /var/log/orvald.log"),
              HasSubstr("Cloud connector 'host1.lab.test' is not used: any computer may publish '" +
                        object + "'."));
  // The attack is a real one: with an administrator's word for that computer it succeeds.
  configure(settings + "cloud.connector.trusted: CN=HOST1,CN=Computers,DC=lab,DC=test\n");
  restartDaemon();
  lab.member.must(kRefreshed);
  EXPECT_EQ(mfa("root", "").out, "The platform has authenticated root.\n");
}

}  // namespace
}  // namespace joinscope::test
