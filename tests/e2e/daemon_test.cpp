// The agent daemon and velkd adopt on the member host, against a real domain controller.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "tests/support/lab.h"
#include "tolk/base/text.h"

namespace joinscope::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr const char* kSocket = "/var/orvald/daemon/velkd.sock";
constexpr const char* kLock = "/var/run/velkd.lock";

/// Limits that let the daemon's waits end soon, and no cache: what was just changed must show.
constexpr const char* kShortLimits =
    "cp /etc/orvald/orvald.conf /root/conf.daemon; "
    "printf '%s: 1\\n' velkd.dns.response.maxtime net.discovery.timeout ldap.connect.timeout "
    "velkd.directory.timeout krb5.kdc.timeout velkd.reconnect.maxtime velkd.transfer.timeout "
    "> /etc/orvald/orvald.conf; echo 'tolkd.cache.disable: true' >> /etc/orvald/orvald.conf";

std::string callOf(const std::string& method, const std::string& parameters) {
  return R"({"method":"org.orvald.velkd.)" + method + R"(","parameters":)" + parameters + "}";
}

std::string fetchOf(const std::string& dn, const std::string& server = "") {
  return callOf("FetchObject", R"({"server":")" + server + R"(","dn":")" + dn +
                                   R"(","attributes":["cn"],"fresh":true})");
}

/// Whether `fact` becomes true before the limit; asks again and again.
bool eventually(const std::function<bool()>& fact) {
  constexpr std::chrono::seconds kLimit{60};
  const auto end = std::chrono::steady_clock::now() + kLimit;
  while (std::chrono::steady_clock::now() < end) {
    if (fact()) return true;
  }
  return false;
}

class DaemonTest : public testing::Test {
 protected:
  void SetUp() override { restart(); }
  void TearDown() override {
    Lab::command({"daemon", "stop"});
    lab.member.must("cp /root/conf.daemon /etc/orvald/orvald.conf");
    Lab::command({"daemon", "start"});
  }

  static void restart() {
    Lab::command({"daemon", "stop"});
    Lab::command({"daemon", "start"});
  }

  /// The answers to these calls, one a line.
  [[nodiscard]] std::string answers(std::vector<std::string> words,
                                    const std::string& user = "root") const {
    words.insert(words.begin(), JOINSCOPE_RPC_CALLER);
    return lab.member.run(words, {.user = user}).out;
  }
  /// The state that `joinscope --mode` exits with.
  [[nodiscard]] int mode(const std::string& user = "root") const {
    return lab.member.joinscope({"--mode"}, {.user = user}).status;
  }
  [[nodiscard]] CommandResult velkd(std::vector<std::string> words,
                                    const std::string& user = "root") const {
    words.insert(words.begin(), daemonBinary());
    return lab.member.run(words, {.user = user});
  }

  Lab lab;
  HostChange limits{lab.member, kShortLimits, "true"};
};

TEST_F(DaemonTest, StatesOfTheAgent) {
  EXPECT_EQ(mode(), 0);
  EXPECT_EQ(mode("tester"), 0);
  {
    const HostChange disabled(lab.dc, "samba-tool user disable 'HOST1$'",
                              "samba-tool user enable 'HOST1$'");
    EXPECT_EQ(mode(), 6);
  }
  EXPECT_EQ(mode(), 0);
  {
    // A computer object of its own, so that the host's join survives the deletion.
    lab.dc.must("samba-tool computer create GONE --prepare-oldjoin");
    const std::string sid = lab.dc.must(
        "samba-tool computer show GONE --attributes=objectSid | sed -n 's/^objectSid: //p'");
    const HostChange other(lab.member,
                           "cp /var/orvald/kset.hostsid /root/sid.e2e; echo '" +
                               std::string(tolk::trim(sid)) + "' > /var/orvald/kset.hostsid",
                           "cp /root/sid.e2e /var/orvald/kset.hostsid");
    EXPECT_EQ(mode(), 0);
    lab.dc.must("samba-tool computer delete GONE");
    EXPECT_EQ(mode(), 5);
    EXPECT_THAT(lab.member.joinscope({}).out, testing::Not(HasSubstr("Last password set:")));
  }
  {
    const HostChange stuck(lab.member, std::string("kill -STOP $(pgrep -x velkd); rm ") + kSocket,
                           "kill -CONT $(pgrep -x velkd)");
    EXPECT_EQ(mode(), 2);
  }
  Lab::command({"daemon", "stop"});
  EXPECT_EQ(mode(), 3);
  EXPECT_EQ(mode("tester"), 3);
  {
    const HostChange killed(lab.member, std::string("install -m 600 /dev/null ") + kLock,
                            std::string("rm ") + kLock);
    EXPECT_EQ(mode(), 3);
    EXPECT_EQ(mode("tester"), 7);
  }
  Lab::command({"daemon", "start"});
  EXPECT_EQ(mode(), 0);
}

TEST_F(DaemonTest, WhatIsAskedAtOnceAgrees) {
  lab.member.must(
      "sed -i /tolkd.cache.disable/d /etc/orvald/orvald.conf; "
      "printf '%s: 3600\\n' velkd.cache.lifetime velkd.check.interval >> /etc/orvald/orvald.conf");
  restart();
  const auto askAll = [this] {
    const std::string command = joinscopeBinary();
    return lab.member
        .shell(command + " -m >/tmp/e2e.mode & " + command +
               " -y health,adagent >/tmp/e2e.health & " + command +
               " -g >/tmp/e2e.diag 2>&1 & wait; cat /tmp/e2e.mode /tmp/e2e.health /tmp/e2e.diag")
        .out;
  };
  const auto agreesOn = [](const std::string& word, const std::string& state,
                           const std::string& problem, const std::string& header) {
    const std::string object = "State of the computer object: " + state + "\n";
    return AllOf(testing::StartsWith(word + "\nSystem Diagnostic\n"),
                 testing::ContainsRegex(object + "(.*\n)*.*" + object), HasSubstr(problem),
                 HasSubstr("\n  Running in " + header));
  };
  const auto well = agreesOn("connected", "usable", "No problem is known.", "connected mode\n");
  EXPECT_THAT(askAll(), well);
  {
    const HostChange disabled(lab.dc, "samba-tool user disable 'HOST1$'",
                              "samba-tool user enable 'HOST1$'");
    EXPECT_THAT(askAll(),
                agreesOn("disconnected", "disabled", "    The computer object is disabled.",
                         "disconnected mode because the computer object has been disabled"));
  }
  EXPECT_THAT(askAll(), well);
  lab.dc.must("samba-tool computer create GONE --prepare-oldjoin");
  const std::string gone(tolk::trim(lab.dc.must(
      "samba-tool computer show GONE --attributes=objectSid | sed -n 's/^objectSid: //p'")));
  lab.dc.must("samba-tool computer delete GONE");
  const std::string elsewhere = "S-1-5-21-1-2-3-1104";
  for (const std::string& sid : {gone, elsewhere}) {
    SCOPED_TRACE(sid);
    const HostChange other(
        lab.member,
        "cp /var/orvald/kset.hostsid /root/sid.e2e; echo " + sid + " > /var/orvald/kset.hostsid",
        "cp /root/sid.e2e /var/orvald/kset.hostsid");
    EXPECT_TRUE(eventually([this] { return mode() == 5; }));
    const std::string foreign = "(kset.hostsid) is not one of the domain lab.test";
    EXPECT_THAT(askAll(),
                agreesOn("disconnected", "does not exist.*",
                         sid == gone ? "The computer object does not exist any more." : foreign,
                         "disconnected mode because the computer object has been deleted"));
    const CommandResult told = lab.member.joinscope({"--mode", "-V"});
    EXPECT_EQ(told.status, 5);
    EXPECT_EQ(told.err.find(foreign) != std::string::npos, sid == elsewhere) << told;
  }
}

TEST_F(DaemonTest, AKeytabThatIsDeadIsKnownWhileTheTicketLives) {
  ASSERT_EQ(mode(), 0);
  const auto health = [this] { return answers({callOf("GetSystemInfo", R"({"modules":2048})")}); };
  {
    const HostChange old(lab.member,
                         "cp -p /etc/krb5.keytab /root/kt.e2e; rm -f /tmp/kt.e2e; printf 'addent "
                         "-password -p HOST1$@LAB.TEST -k 1 -e aes256-cts\\nsecret\\nwkt "
                         "/tmp/kt.e2e\\n' | ktutil >/dev/null; cat /tmp/kt.e2e > /etc/krb5.keytab",
                         "cat /root/kt.e2e > /etc/krb5.keytab");
    EXPECT_THAT(health(), HasSubstr("has no key of HOST1$@LAB.TEST newer than version 1 of "));
    EXPECT_EQ(mode(), 0);
    EXPECT_THAT(lab.member.must("tail -n 1 /var/log/orvald.log"),
                HasSubstr("newer than version 1"));
  }
  EXPECT_THAT(health(), HasSubstr("No problem is known."));
}

TEST_F(DaemonTest, TheTicketIsRenewedBeforeItEnds) {
  Lab::command({"daemon", "stop"});
  lab.member.must(
      "echo 'velkd.check.interval: 1' >> /etc/orvald/orvald.conf; echo +0 > /tmp/now; : > "
      "/var/log/orvald.log");
  const RunningCommand daemon = lab.member.start(
      {"env", "FAKETIME_TIMESTAMP_FILE=/tmp/now", "FAKETIME_NO_CACHE=1",
       "FAKETIME_DONT_FAKE_MONOTONIC=1",
       "LD_PRELOAD=/usr/lib/x86_64-linux-gnu/faketime/libfaketimeMT.so.1", daemonBinary()});
  EXPECT_TRUE(eventually([this] { return mode() == 0; }));
  // Of ten hours; the clock that shows it keeps a new one from being had.
  lab.member.must("echo +8h > /tmp/now");
  EXPECT_TRUE(eventually([this] {
    return lab.member.shell("grep 'Cannot renew the ticket: ' /var/log/orvald.log").status == 0;
  }));
}

TEST_F(DaemonTest, WithoutAConnectionTheReasonComesAtOnce) {
  const HostChange disabled(lab.dc, "samba-tool user disable 'HOST1$'",
                            "samba-tool user enable 'HOST1$'");
  restart();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(lab.member.joinscope({"--diag"}).err,
              HasSubstr("  Could not get domain RIDs from velkd: The domain identifier ranges are "
                        "not known yet. "));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(DaemonTest, ADaemonThatIsStoppedCostsOneLimitARun) {
  constexpr std::chrono::seconds kLimit{4};
  lab.member.must("echo 'velkd.rpc.timeout: 4' >> /etc/orvald/orvald.conf");
  const HostChange stopped(lab.member, "kill -STOP $(pgrep -x velkd)",
                           "kill -CONT $(pgrep -x velkd)");
  for (const char* task : {"--all", "--diag"}) {
    SCOPED_TRACE(task);
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = lab.member.joinscope({task, "-V"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2 * kLimit);
    EXPECT_THAT(result.err,
                HasSubstr("No whole message arrived in time (velkd.rpc.timeout, 4000 ms)"));
  }
  EXPECT_THAT(lab.member.shell("timeout 2 " + joinscopeBinary() + "; [ $? = 124 ]").out,
              testing::EndsWith("Pre-win2K name:    HOST1\n"))
      << "what is known stands there before the wait";
}

/// Another process in the daemon's place, for as long as this lives.
class BrokenDaemon {
 public:
  BrokenDaemon(const Host& host, const std::string& kind)
      : process_(host.start({JOINSCOPE_BROKEN_DAEMON, kSocket, kind})) {
    EXPECT_TRUE(process_.waitForError("ready")) << kind;
  }

 private:
  RunningCommand process_;
};

TEST_F(DaemonTest, WhatAnswersBadlyIsDisconnected) {
  Lab::command({"daemon", "stop"});
  lab.member.must("echo 'velkd.rpc.timeout: 1' >> /etc/orvald/orvald.conf");
  for (const char* kind : {"half", "junk", "mute"}) {
    SCOPED_TRACE(kind);
    const BrokenDaemon daemon(lab.member, kind);
    EXPECT_EQ(lab.member.joinscope({"--mode"}), (CommandResult{1, "disconnected\n", ""}));
    EXPECT_EQ(lab.member.joinscope({"--sysinfo", "dns"}),
              (CommandResult{3, "System Diagnostic\n", "  Failed to get sysinfo from velkd.\n"}));
  }
}

TEST_F(DaemonTest, RangesThatAreStillGatheredAreWaitedForAndGivenUp) {
  Lab::command({"daemon", "stop"});
  lab.member.must("echo 'join.velkd.wait.time: 2' >> /etc/orvald/orvald.conf");
  {
    const BrokenDaemon slow(lab.member, "slow");
    EXPECT_THAT(lab.member.joinscope({"--diag"}).out,
                HasSubstr("Domain RIDs in forest:\n  LAB.TEST: 7-9 (current domain)\n"));
  }
  const BrokenDaemon daemon(lab.member, "gathering");
  const CommandResult result = lab.member.joinscope({"--diag", "-V"});
  EXPECT_THAT(result.err, HasSubstr("  It may take up to 2 seconds to gather information...\n"));
  EXPECT_THAT(result.err, HasSubstr("  Timed out getting domain RIDs from velkd\n"));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("Domain RIDs in forest:")));
  EXPECT_EQ(result.status, 0);
}

TEST_F(DaemonTest, RecoversWhenTheControllerWasAway) {
  ASSERT_EQ(mode(), 0);
  {
    const std::string listeners =
        "$(ss -Hltnp 'sport = :389' | grep -o 'pid=[0-9]*' | cut -d= -f2 | sort -u)";
    const HostChange mute(lab.dc, "kill -STOP " + listeners, "kill -CONT " + listeners);
    EXPECT_THAT(answers({fetchOf("DC=lab,DC=test")}), HasSubstr("no answer within 1 s"))
        << "a silent one is not asked twice";
  }
  Lab::command({"dc", "stop"});
  EXPECT_EQ(mode(), 1);
  Lab::command({"dc", "start"});
  EXPECT_TRUE(eventually([this] { return mode() == 0; }));
}

TEST_F(DaemonTest, RecoversWhenNamesWereNotResolved) {
  {
    const HostChange dead(lab.member,
                          "cp /etc/resolv.conf /root/resolv.e2e; "
                          "echo 'nameserver 10.99.0.250' > /etc/resolv.conf",
                          "cp /root/resolv.e2e /etc/resolv.conf");
    restart();
    EXPECT_EQ(mode(), 1);
    EXPECT_THAT(answers({callOf("GetCurrentDC", "{}")}), HasSubstr(R"("host":"")"));
    EXPECT_THAT(answers({callOf("GetSystemInfo", R"({"modules":2048})")}),
                HasSubstr("There is no connection to the domain: "));
  }
  EXPECT_TRUE(eventually([this] { return mode() == 0; }));
}

TEST_F(DaemonTest, OtherUsersReadOnlyThisHostsObject) {
  const std::string sid(tolk::trim(lab.member.must("cat /var/orvald/kset.hostsid")));
  const std::string own = "CN=HOST1,CN=Computers,DC=lab,DC=test";
  const std::string denied = "org.orvald.velkd.PermissionDenied";
  const std::string found = R"({"parameters":{"object":{"dn":")" + own +
                            R"(","attributes":[{"name":"cn","values":[{"text":"HOST1"}]}]}}})"
                            "\n";
  struct Row {
    const char* what;
    std::string message;
    bool allowed;
  };
  for (const Row& row : {
           Row{"own object by its identifier", fetchOf("<SID=" + sid + ">"), true},
           Row{"own object by its name", fetchOf(tolk::toLower(own)), true},
           Row{"another object", fetchOf("DC=lab,DC=test"), false},
           Row{"another identifier", fetchOf("<SID=S-1-5-32-544>"), false},
           Row{"own object by its GUID form", fetchOf("<WKGUID=x," + own + ">"), false},
           Row{"the root DSE", fetchOf(""), false},
           Row{"another server", fetchOf("<SID=" + sid + ">", "dc1.lab.test"), false},
           Row{"the counters' switch", callOf("GetSystemInfo", R"({"modules":256})"), false},
           Row{"identifier ranges", callOf("GetDomainIdentifiers", "{}"), false},
       }) {
    SCOPED_TRACE(row.what);
    const std::string answer = answers({row.message}, "tester");
    if (row.allowed) {
      EXPECT_EQ(answer, found);
    } else {
      EXPECT_THAT(answer, HasSubstr(denied));
    }
  }
  EXPECT_THAT(lab.member.joinscope({"--diag"}, {.user = "tester"}).err,
              HasSubstr("  Could not get domain RIDs from velkd: Only root may read the domain "
                        "identifier ranges.\n"));
  EXPECT_THAT(answers({fetchOf("DC=lab,DC=test", "dc1.lab.test")}), HasSubstr("DC=lab,DC=test"));
  EXPECT_EQ(answers({fetchOf("CN=nobody,DC=lab,DC=test")}), "{\"parameters\":{\"object\":null}}\n");
}

TEST_F(DaemonTest, BadCallersCostThemselvesOnly) {
  EXPECT_EQ(answers({"--half", "{\"method\":"}), "<closed>\n");
  EXPECT_EQ(answers({"--size", "200000"}, "tester"), "<closed>\n");
  EXPECT_EQ(answers({"--size", "17000000"}), "<closed>\n");
  EXPECT_EQ(answers({"{\"a\":" + std::string(100, '[') + std::string(100, ']') + "}"}),
            "<closed>\n");
  EXPECT_EQ(answers({"\x01\x02\xff"}), "<closed>\n");
  EXPECT_EQ(
      answers({"--callers", "500", fetchOf("CN=HOST1,CN=Computers,DC=lab,DC=test")}, "tester"),
      "500\n");
  EXPECT_EQ(mode(), 0);
}

TEST_F(DaemonTest, RootIsServedAtOnceWhileAnotherUserCallsAndCalls) {
  const std::string own(tolk::trim(lab.member.must("cat /var/orvald/kset.hostsid")));
  ASSERT_EQ(mode(), 0);
  Lab::command({"scenario", "delay", "60"});
  {
    const RunningCommand flood =
        lab.member.start({JOINSCOPE_RPC_CALLER, "--callers", "700", fetchOf("<SID=" + own + ">")},
                         {.user = "tester"});
    EXPECT_TRUE(eventually([this] {
      return lab.member.must("ls /proc/$(pgrep -x velkd)/fd | wc -l").size() > 3;
    })) << "hundreds of connections";
    for (int i = 0; i < 5; ++i) {
      const CommandResult result = lab.member.run({"timeout", "0.5", joinscopeBinary(), "--mode"});
      EXPECT_EQ(result, (CommandResult{0, "connected\n", ""}));
    }
  }
  Lab::command({"scenario", "delay", "0"});
}

TEST_F(DaemonTest, GathersIdentifierRangesAndTellsItsController) {
  // ldbsearch shows the two halves of the number as a range itself.
  const std::string range(tolk::trim(lab.dc.must(
      "ldbsearch -H /var/lib/samba/private/sam.ldb -b 'CN=RID Manager$,CN=System,DC=lab,DC=test' "
      "rIDAvailablePool 2>/dev/null | sed -n 's/^rIDAvailablePool: //p'")));
  const std::string call = callOf("GetDomainIdentifiers", "{}");
  EXPECT_TRUE(
      eventually([&] { return answers({call}).find("StillGathering") == std::string::npos; }));
  EXPECT_EQ(answers({call}),
            R"({"parameters":{"ranges":[{"key":"LAB.TEST","value":")" + range + "\"}]}}\n");
  EXPECT_EQ(answers({callOf("GetCurrentDC", "{}")}), R"({"parameters":{"host":"dc1.lab.test"}})"
                                                     "\n");
}

TEST_F(DaemonTest, OneInstanceThatEndsCleanlyAndRereadsItsConfiguration) {
  const CommandResult second = velkd({});
  EXPECT_EQ(second.status, 6);
  EXPECT_THAT(second.err, AllOf(HasSubstr("velkd runs already: process "), HasSubstr(kLock)));
  EXPECT_EQ(velkd({}, "tester").status, 9);
  EXPECT_EQ(velkd({"--nonsense"}).status, 7);

  const std::string config = callOf("GetSystemInfo", R"({"modules":16})");
  lab.member.must("echo 'a.new.key: 5' >> /etc/orvald/orvald.conf");
  EXPECT_EQ(velkd({"reload"}).status, 0);
  EXPECT_THAT(answers({config}), HasSubstr("a.new.key: 5"));

  Lab::command({"daemon", "stop"});
  EXPECT_EQ(velkd({"reload"}), (CommandResult{6, "", "velkd: the daemon does not run\n"}));
  EXPECT_NE(lab.member.shell(std::string("test -e ") + kSocket + " -o -e " + kLock).status, 0);
  // A daemon that was killed leaves its socket; the next one replaces it.
  Lab::command({"daemon", "start"});
  lab.member.must("kill -KILL $(pgrep -x velkd)");
  EXPECT_TRUE(eventually([this] { return lab.member.shell("pgrep -x velkd").status != 0; }));
  EXPECT_EQ(mode(), 3);
  const RunningCommand next = lab.member.start({daemonBinary()});
  EXPECT_TRUE(eventually([this] { return mode() == 0; }));
}

TEST_F(DaemonTest, AdoptWritesWhatTheDirectoryKnows) {
  const HostChange kept(lab.member, "rm -rf /root/kset; cp -a /var/orvald /root/kset",
                        "rm -rf /var/orvald/kset.* /var/orvald/previous; "
                        "cp -a /root/kset/kset.* /var/orvald");
  lab.member.must(
      "sed -i 's/^tolkd.cache.disable.*/velkd.cache.lifetime: 60/' /etc/orvald/orvald.conf");
  restart();
  const std::string later = callOf("FetchObject", R"({"server":"","attributes":["cn"],"dn":)"
                                                  R"("CN=LATER,CN=Computers,DC=lab,DC=test"})");
  EXPECT_THAT(answers({later}), HasSubstr(":null"));
  EXPECT_EQ(velkd({"unadopt"}).status, 0);
  EXPECT_EQ(lab.member.must("cat /var/orvald/previous/kset.domain"), "lab.test\n");
  EXPECT_EQ(mode(), 10);
  EXPECT_THAT(answers({later}), HasSubstr("velkd.NotJoined"));
  EXPECT_EQ(velkd({"unadopt"}).status, 10);

  const std::string sid(
      tolk::trim(lab.dc.must("samba-tool computer show HOST1 --attributes=objectSid | "
                             "sed -n 's/^objectSid: //p'")));
  const HostChange computer(lab.dc, "samba-tool computer create LATER",
                            "samba-tool computer delete LATER");
  const HostChange site(lab.dc, "samba-tool sites subnet set-site 10.99.0.0/26 Paris",
                        "samba-tool sites subnet set-site 10.99.0.0/26 Default-First-Site-Name");
  const CommandResult adopted = velkd({"adopt", "--null-zone"});
  EXPECT_EQ(adopted.status, 0) << adopted;
  EXPECT_EQ(lab.member.must("cd /var/orvald; grep -H . kset.*"),
            "kset.domain:lab.test\nkset.domaincontroller:dc1.lab.test\n"
            "kset.globalcatalog:dc1.lab.test\nkset.hostname:host1.lab.test\nkset.hostsid:" +
                sid +
                "\nkset.prew2khostname:HOST1\nkset.schema:null\n"
                "kset.site:Paris\nkset.subnetsite:Paris\nkset.zone:DC=lab,DC=test\n");
  EXPECT_THAT(adopted.out, HasSubstr("/var/orvald/kset.hostsid: " + sid));
  EXPECT_EQ(mode(), 0) << "the running daemon takes the new join over";
  EXPECT_THAT(answers({later}), HasSubstr("LATER")) << "and remembers nothing of the old one";
}

TEST_F(DaemonTest, AdoptTakesTheSchemaFromTheZoneObject) {
  const HostChange kept(lab.member, "rm -rf /root/kset; cp -a /var/orvald /root/kset",
                        "rm -rf /var/orvald/kset.* /var/orvald/previous; "
                        "cp -a /root/kset/kset.* /var/orvald");
  struct Row {
    std::string zone;
    const char* schema;
    const char* shown;  ///< by --zone; the identifier stands for itself
  };
  for (const Row& row : {
           Row{"CN=First,OU=Servers", "orv_v1_0", "First"},
           Row{"cn=paris,cn=global,ou=zones", "orv_v2_0", "lab.test/Zones/Global/Paris"},
           Row{R"(CN=The \"quoted\" zone,OU=Zones)", "orv_r2",
               R"(lab.test/Zones/The "quoted" zone)"},
           Row{"CN=NIS,OU=Zones", "sfu_v3_0", "lab.test/Zones/NIS"},
           Row{"CN=Old NIS/YP,OU=Servers", "sfu_v3_0v1",
               "CN=Old NIS/YP,OU=Servers,DC=lab,DC=test{GUID}"},
       }) {
    SCOPED_TRACE(row.zone);
    const std::string dn = row.zone + ",DC=lab,DC=test";
    EXPECT_EQ(velkd({"adopt", "--zone", dn}).status, 0);
    EXPECT_EQ(lab.member.must("cat /var/orvald/kset.schema"), row.schema + std::string("\n"));
    const std::string guid = lab.member.must("tr -d '{}\\n' < /var/orvald/kset.zoneguid");
    EXPECT_THAT(lab.dc.must("ldbsearch -H /var/lib/samba/private/sam.ldb -s base -b '<GUID=" +
                            guid + ">' dn 2>/dev/null | tr '[:upper:]' '[:lower:]'"),
                HasSubstr("dn: " + tolk::toLower(dn)));
    std::string shown = lab.member.joinscope({"--zone"}).out;
    if (const std::size_t at = shown.find(guid); at != std::string::npos) {
      shown.replace(at, guid.size(), "GUID");
    }
    EXPECT_EQ(shown, row.shown + std::string("\n"));
  }
  const std::string strange = "CN=Strange,OU=Zones,DC=lab,DC=test";
  const CommandResult unknown = velkd({"adopt", "--zone", strange});
  EXPECT_EQ(unknown.status, 6);
  EXPECT_EQ(unknown.err, "velkd: The layout 'orv_v9_9' of the zone " + strange +
                             " is not known. Name one with --schema.\n");
  EXPECT_EQ(velkd({"adopt", "--zone", strange, "--schema", "orv_r2"}).status, 0);
}

TEST_F(DaemonTest, AdoptRefusesWithReasonAndChangesNothing) {
  const std::string before = lab.member.must("cd /var/orvald; grep -H . kset.*");
  struct Row {
    const char* what;
    std::string change;  // in a mount namespace of its own
    int status;
    const char* reason;
  };
  const auto keytab = [](const std::string& principal) {
    return "printf 'addent -password -p " + principal +
           " -k 1 -e aes256-cts\\nsecret\\nwkt /tmp/kt.e2e\\n' | ktutil >/dev/null; ";
  };
  const std::string mount = "mount --bind /tmp/kt.e2e /etc/krb5.keytab";
  const std::string fresh = "rm -f /tmp/kt.e2e; ";
  for (const Row& row : {
           Row{"no keytab",
               "mount -t tmpfs none /root; "
               "printf 'krb5.keytab.name: /root/absent\\n' > /root/c; "
               "mount --bind /root/c /etc/orvald/orvald.conf",
               6, "Join this computer to a domain first"},
           Row{"no computer account", fresh + keytab("user@LAB.TEST") + mount, 6,
               "has no computer account"},
           Row{"two realms",
               fresh + keytab("HOST1$@LAB.TEST") + keytab("HOST1$@OTHER.TEST") + mount, 6,
               "computer accounts of several domains (LAB.TEST, OTHER.TEST)"},
           Row{"unknown account", fresh + keytab("NOSUCH$@LAB.TEST") + mount, 23,
               "the domain has no such computer account"},
           Row{"stale key", fresh + keytab("HOST1$@LAB.TEST") + mount, 156,
               "the keytab does not hold the account's password any more"},
           Row{"full disk", "mount -t tmpfs -o nr_inodes=1 none /var/orvald", 6,
               "Cannot write /var/orvald/.kset.domain.new: No space left on device"},
           Row{"no controller", fresh + keytab("HOST1$@NOWHERE.TEST") + mount, 6,
               "No domain controller of nowhere.test can be used"},
       }) {
    SCOPED_TRACE(row.what);
    const CommandResult result = lab.member.run(
        {"unshare", "--mount", "sh", "-c", row.change + "; exec " + daemonBinary() + " adopt"});
    EXPECT_EQ(result.status, row.status) << result;
    EXPECT_THAT(result.err, HasSubstr(row.reason));
  }
  {
    const HostChange disabled(lab.dc, "samba-tool user disable 'HOST1$'",
                              "samba-tool user enable 'HOST1$'");
    const CommandResult result = velkd({"adopt"});
    EXPECT_EQ(result.status, 6);
    EXPECT_THAT(result.err, HasSubstr("the account is disabled: enable it in the directory."));
  }
  EXPECT_EQ(velkd({"adopt"}, "tester").status, 9);
  EXPECT_EQ(lab.member.shell(daemonBinary() + " adopt <&- >&-"),
            (CommandResult{6, "", "velkd: Cannot write to standard output\n"}));
  for (const char* zone : {"CN=none,DC=lab,DC=test", "CN=Box,OU=Zones,DC=lab,DC=test"}) {
    const CommandResult result = velkd({"adopt", "--zone", zone, "--schema", "orv_r2"});
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.err, "velkd: There is no zone " + std::string(zone) + " in the directory.\n");
  }
  EXPECT_EQ(lab.member.must("cd /var/orvald; grep -H . kset.*"), before);
}

}  // namespace
}  // namespace joinscope::test
