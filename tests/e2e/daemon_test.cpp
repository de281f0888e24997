// The agent daemon on the member host, against a real domain controller.
#include <gmock/gmock.h>

#include "tests/e2e/daemon_fixture.h"
#include "tolk/base/text.h"

namespace joinscope::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr const char* kSocket = "/var/orvald/daemon/velkd.sock";
constexpr const char* kLock = "/var/run/velkd.lock";

TEST_F(DaemonTest, StatesOfTheAgent) {
  EXPECT_EQ(mode(), 0);
  EXPECT_EQ(mode("tester"), 0);
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
    EXPECT_THAT(lab.member.joinscope({}).out, testing::Not(HasSubstr("Last password set:")));
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
    EXPECT_THAT(health(), HasSubstr("newest key in /etc/krb5.keytab 1."));
    EXPECT_EQ(mode(), 0);
    EXPECT_THAT(lab.member.must("tail -n 1 /var/log/orvald.log"),
                HasSubstr("newest key in /etc/krb5.keytab 1."));
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

/// Where all but the unit's places is read-only, without a capability, by the umask of the unit.
TEST_F(DaemonTest, RunsOnWhatItsUnitAllows) {
  Lab::command({"daemon", "stop"});
  const HostChange places(
      lab.member,
      "mv /var/log/orvald.log /root/log.e2e; systemd-tmpfiles --create " +
          std::string(JOINSCOPE_PACKAGING "/velkd.tmpfiles"),
      "rm -rf /run/velkd /run/velkd.lock; mv /root/log.e2e /var/log/orvald.log");
  const std::string confined =
      "mkdir -m 700 /run/velkd; mount --bind /run /run; mount --bind /var /var; "
      "cd " JOINSCOPE_PACKAGING
      "; "
      "for place in /run/velkd $(sed -n 's/^ReadWritePaths=//p' velkd.service); do "
      "place=${place#-}; [ ! -e $place ] || mount --bind $place $place; done; "
      "mount -o remount,bind,ro /run; mount -o remount,bind,ro /var; umask "
      "$(sed -n 's/^UMask=//p' velkd.service); "
      "exec setpriv --bounding-set=-all --inh-caps=-all --no-new-privs " +
      daemonBinary();
  RunningCommand daemon = lab.member.start({"unshare", "--mount", "sh", "-c", confined});
  EXPECT_TRUE(eventually([this] { return mode("tester") == 0; }));
  EXPECT_EQ(velkd({"reload"}).status, 0);
  EXPECT_THAT(lab.member.must("cat /var/log/orvald.log"), HasSubstr("Reread the configuration"));
  lab.member.must("kill $(pgrep -x velkd)");
  EXPECT_EQ(daemon.wait(), (CommandResult{0, "", ""}));
}

}  // namespace
}  // namespace joinscope::test
