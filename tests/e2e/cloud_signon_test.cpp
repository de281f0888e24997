// What the daemon does at the cloud platform: its way there, events, and users who log on.
#include <gmock/gmock.h>

#include "tests/e2e/cloud_stage.h"
#include "tests/support/process.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Answers of the platform to the daemon's logon and to that for a user.
const std::string kLogons =
    R"("security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=m; path=/"},"json":{"success":true},"repeat":true}],)"
    R"("security/startimpersonate":[{"headers":{"Set-Cookie":".ASPXAUTH=u; path=/"},"json":{"success":true},)"
    R"("repeat":true}],)";

/// A platform on cloud1 that knows this kind of client.
struct Platform {
  Platform(const Host& cloud, const std::string& client, const std::string& answers,
           const std::string& port = "8443")
      : command(cloud.start(
            {JOINSCOPE_PLATFORM, "10.99.0.62", port, "/etc/ssl/lab/cloud1.crt",
             "/etc/ssl/lab/cloud1.key", "/tmp/record"},
            {.input = R"({"client":")" + client + R"(","answers":{)" + answers + "}}"})) {
    EXPECT_TRUE(command.waitForError("ready"));
  }
  RunningCommand command;
};

class SignonTest : public CloudTest {
 protected:
  /// How many requests the platform found fault with.
  std::string faults() const {
    return cloud.must("grep -vc '\"faults\":\\[\\]' /tmp/record; true");
  }
  CommandResult mfa(const std::string& user, const std::string& input) const {
    return lab.member.run({daemonBinary(), "mfa", user}, {.input = input});
  }
  /// The daemon looks for the platform in the background.
  CommandResult orbinfo() const {
    constexpr std::chrono::seconds kLimit{30};
    const auto end = std::chrono::steady_clock::now() + kLimit;
    CommandResult result;
    do {
      result = lab.member.joinscope({"--orbinfo"});
    } while (result.status == 184 && std::chrono::steady_clock::now() < end);
    return result;
  }
};

TEST_F(SignonTest, OrbinfoTellsTheWay) {
  EXPECT_EQ(lab.member.joinscope({"--orbinfo"}),
            (CommandResult{184, "", "Failed to get ORB info from velkd.\n"}));
  const std::string address = "https://cloud1.lab.test:8443/,";
  restartDaemon(kPlatform + "cloud.direct.connection: true\n");
  EXPECT_EQ(orbinfo(), (CommandResult{181, address + "\n", ""}));
  const CommandResult stored =
      lab.member.run({daemonBinary(), "proxy-credential", "set", "web.one@lab.test"},
                     {.input = "Web-One-Pass1\n"});
  EXPECT_EQ(stored.out, "Stored the user for the web proxy in /var/orvald/httpproxy.cred.\n");
  restartDaemon(kPlatform +
                "cloud.proxy.server: proxy1.lab.test:3128\ncloud.proxy.auth.required: true\n"
                "cloud.proxy.auth.type: Negotiate\nvelkd.cloud.log.privevent: true\n");
  const Platform server(cloud, "orb",
                        R"("sysinfo/version":[{"json":{},"repeat":true}],)"
                        R"("security/sso":[{"json":{"success":true},"repeat":true}])");
  EXPECT_EQ(orbinfo(), (CommandResult{182, address + "proxy1.lab.test:3128\n", ""}));
  EXPECT_EQ(lab.member.must("grep -c Web-One-Pass1 /var/log/orvald.log; true"), "0\n");
  // The event processor has been through the proxy, too, and nobody keeps what is taken away.
  await(lab.member, kDaemonLog, "sso:");
  const pid_t daemon = findProcess("velkd", lab.member.initProcess());
  EXPECT_GE(countInMemory(daemon, "Web-One-Pass1"), 3U);
  const CommandResult cleared = lab.member.run({daemonBinary(), "proxy-credential", "clear"});
  EXPECT_EQ(cleared.out, "Removed /var/orvald/httpproxy.cred.\n");
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (countInMemory(daemon, "Web-One-Pass1") != 0 && std::chrono::steady_clock::now() < end) {
  }
  EXPECT_EQ(countInMemory(daemon, "Web-One-Pass1"), 0U);
  reloadDaemon(kPlatform + "cloud.direct.connection: true\n");
  EXPECT_EQ(orbinfo(), (CommandResult{180, address + "\n", ""}));
  EXPECT_EQ(lab.member.joinscope({"--orbinfo"}, {.user = "tester"}).status, 9);
  EXPECT_EQ(lab.guest.joinscope({"--orbinfo"}),
            (CommandResult{10, "", "Not joined to any domain.\n"}));
}

TEST_F(SignonTest, OrbinfoOfTheStoredSettings) {
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

TEST_F(SignonTest, EventsArePostedInOrder) {
  const Platform server(
      cloud, "orb",
      kLogons + R"("tqsintegration/LogPrivEvent":[{"json":{"success":true},"repeat":true}])");
  restartDaemon(kPlatform +
                "velkd.cloud.log.privevent: true\ncloud.proxy.server: proxy1.lab.test:3130\n");
  await(lab.member, kDaemonLog, "initProc completes");
  std::vector<std::string> calls{JOINSCOPE_RPC_CALLER};
  for (const char* value : {"1", "2", "3"}) {
    calls.push_back(
        R"({"method":"org.orvald.velkd.LogPrivilegeEvent","parameters":{"fields":[{"key":"e","value":")" +
        std::string(value) + R"("}]}})");
  }
  EXPECT_EQ(lab.member.run(calls).out,
            "{\"parameters\":{}}\n{\"parameters\":{}}\n{\"parameters\":{}}\n");
  await(cloud, "/tmp/record", "e.....3");
  EXPECT_EQ(cloud.must("grep -o 'e\\\\\":\\\\\"[0-9]' /tmp/record | grep -o '[0-9]'"), "1\n2\n3\n");
  EXPECT_EQ(faults(), "0\n");
}

TEST_F(SignonTest, UserIsAuthenticatedByHand) {
  const auto summary = [](const std::string& word) {
    return R"({"json":{"success":true,"Result":{"Summary":")" + word + R"("}}})";
  };
  const Platform server(
      cloud, "v1s",
      kLogons +
          R"("tqsintegration/mfalogin":[{"json":{"ErrorID":"ChallengeRequired","ChallengeId":"c"}},)"
          R"({"json":{"success":true}},{"json":{"ErrorID":"NotConfigured"}}],"security/startchallenge":[)"
          R"({"json":{"success":true,"Result":{"SessionId":"s","TenantId":"t","Version":"1.0","Challenges":[)"
          R"({"Mechanisms":[{"MechanismId":"m1","Name":"UP","AnswerType":"Text"},)"
          R"({"MechanismId":"m2","Name":"SQ","AnswerType":"Text","Question":"Pet?"}]},)"
          R"({"Mechanisms":[{"MechanismId":"m3","Name":"OTP","AnswerType":"StartTextOob"}]}]}}}],)"
          R"("security/AdvanceAuthentication":[)" +
          summary("StartNextChallenge") + "," + summary("OobPending") + "," +
          summary("OobPending") + "," + summary("LoginSuccess") + "]");
  configure(kPlatform + "cloud.proxy.server: proxy1.lab.test:3130\n");
  Lab::command({"daemon", "stop"});
  lab.member.must(
      "rm -f /tmp/tls.keys; : > /var/log/orvald.log; SSLKEYLOGFILE=/tmp/tls.keys setsid " +
      daemonBinary() + " >/dev/null 2>&1 &");
  awaitRefresh();
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
  EXPECT_EQ(faults(), "0\n");
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

TEST_F(SignonTest, ConnectorIsTheProxyAndADeadOneIsLeft) {
  const ConnectorHosts connectors(lab.member, proxy);
  const std::string settings =
      "velkd.legacyzone.mfa.enabled: true\nvelkd.legacyzone.mfa.cloudurl: https://cloud.lab.test\n"
      "velkd.legacyzone.mfa.tenantid: LAB0001\nvelkd.cloud.cert.store: /etc/ssl/lab/ca.pem\n"
      "cloud.connector.trusted: OU=Connectors,DC=lab,DC=test\ncloud.curl.timeout: 2\n"
      "cloud.rest.version: 0\nroot.logger.name: DEBUG\n";
  restartDaemon(settings);
  awaitRefresh();
  proxy.must(": > /run/squid/open.log");
  {
    const Platform server(
        cloud, "v0",
        R"("security/GetAuthPolicy":[{"json":{"success":true,"Result":)"
        R"({"recId":"r","mechs":[{"mechId":"UP","required":"True"},{"mechId":"EMAIL"}]}}}],)"
        R"("security/MultiAuthLogin":[{"json":{"success":true}}],"security/MoveToNextLoginPage":)"
        R"([{"json":{"success":true}},{"json":{"success":true,"Result":{"status":"Move"}}}])",
        "443");
    const CommandResult user = mfa("ann", "secret\n\n");
    EXPECT_EQ(user.status, 0) << user;
    EXPECT_THAT(user.out, HasSubstr("An email has been sent to your registered email address.\n"));
  }
  EXPECT_THAT(lab.member.joinscope({"--sysinfo", "orb"}).out,
              HasSubstr("Current used connector: conn2.lab.test\n"));
  // The proxy writes its line when the platform has gone.
  EXPECT_THAT(proxy.must("cat /run/squid/open.log"), HasSubstr("CONNECT cloud.lab.test:443"));
  EXPECT_EQ(faults(), "0\n");
}

// A computer that has been taken over publishes itself as a connector, to a platform of its own.
TEST_F(SignonTest, ConnectorThatAComputerPublishesItselfIsNotUsed) {
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
  const Platform server(cloud, "v1s",
                        kLogons + R"("tqsintegration/mfalogin":[{"json":{"success":true}}])");
  const std::string settings =
      "velkd.legacyzone.mfa.enabled: true\nvelkd.legacyzone.mfa.tenantid: LAB0001\n"
      "velkd.cloud.cert.store: /etc/ssl/lab/ca.pem\nadsec.cert.dir: /etc/ssl/lab\n";
  restartDaemon(settings);
  awaitRefresh();
  const CommandResult refused = mfa("root", "");
  EXPECT_EQ(refused.status, 6) << refused;
  EXPECT_THAT(refused.out, Not(HasSubstr("authenticated")));
  EXPECT_THAT(lab.member.must("cat /var/log/orvald.log"),
              HasSubstr("Cloud connector 'host1.lab.test' is not used: any computer may publish '" +
                        object + "'."));
  // The attack is a real one: with an administrator's word for that computer it succeeds.
  restartDaemon(settings + "cloud.connector.trusted: CN=HOST1,CN=Computers,DC=lab,DC=test\n");
  awaitRefresh();
  EXPECT_EQ(mfa("root", "").out, "The platform has authenticated root.\n");
}

}  // namespace
}  // namespace joinscope::test
