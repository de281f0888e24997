// Wrong command lines, gates and broken outputs: the real binary's status and both streams. Needs
// no lab; a host that is joined skips what only an unjoined one shows.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/lab.h"
#include "tests/support/run_command.h"

namespace joinscope::test {
namespace {

using Words = std::vector<std::string>;

const Words kAsIs{};
const Words kAsNobody{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
const Words kWithoutTerminal{"setsid", "--wait"};
const Words kWithoutJournal{
    "unshare", "--mount", "sh", "-c", "mount --bind /dev/null /usr/bin/journalctl && exec \"$@\"",
    "sh"};

// `way` goes in front of the command.
CommandResult joinscope(const Words& arguments, const Words& way = kAsIs,
                        const std::string& input = {}) {
  Words all = way;
  all.push_back(joinscopeBinary());
  all.insert(all.end(), arguments.begin(), arguments.end());
  // A process that forbids ptrace cannot be searched for leaks.
  return run({.arguments = all, .input = input, .environment = {"ASAN_OPTIONS=detect_leaks=0"}});
}

std::string shell(const std::string& line) {
  return run({.arguments = {"sh", "-c", line, "sh", joinscopeBinary()},
              .environment = {"ASAN_OPTIONS=detect_leaks=0"}})
      .out;
}

// The usage text with `message` in front; the text itself is the one that --help prints.
std::string usage(const std::string& message = {}) {
  static const std::string text = joinscope({"--help"}).out;
  return message.empty() ? text : message + '\n' + text;
}

bool joinedHost() {
  return ::access("/var/orvald/kset.domain", F_OK) == 0;
}
bool isRoot() {
  return ::geteuid() == 0;
}

std::string dump(const std::string& task, const std::string& domain, const std::string& user,
                 const std::string& server) {
  return "Options:\n-------\ntask: " + task + "\ndomain: " + domain +
         "\noutput: null\nadditional paths: null \nuser: " + user +
         "\nusing user's credential cache: No\n"
         "allow password prompt in kerberos get init credential: No\n"
         "user's credential cache: null\nserver: " +
         server + '\n';
}

const std::string kServerError =
    "Error: Server name must be a fully qualified DNS name\nFor example, dc1.example.com\n";
const std::string kWindow =
    "--begin|--end or --lastnhrs options should be used in conjunction with --support option";
const std::string kUserMissing =
    "User name should be specified using --user option if --auth option is specified.";
const std::string kPrompt = "Active Directory password: ";

TEST(OptionErrors, EndWithUsageAndSeven) {
  struct Case {
    Words arguments;
    std::string message;  // in front of the usage text
    std::string err = {};
  };
  const std::string longWord(100000, 'x');
  const std::string bytes = "\xff\xc3\x1b[2J\x7f";
  const std::vector<Case> cases{
      {{"--nonsense"}, ""},
      {{"-k"}, ""},
      {{"-u"}, ""},
      {{"--ver"}, ""},
      {{"-d", "-z"}, "Only one option may be given."},
      {{"-V", "-V"}, "Verbose option may not be given twice"},
      {{"-o", "a", "-o", "b"}, "output option may not be given twice"},
      {{"-P", "a", "-P", "b"}, "additional paths option may not be given twice"},
      {{"-y", "all,foo"}, "Invalid system information module: foo"},
      {{"-y", bytes}, "Invalid system information module: " + bytes},
      {{"-a", "extra", "words"}, "Too many arguments: extrawords"},
      {{"-v", bytes}, "Too many arguments: " + bytes},
      {{"-glab.test", longWord}, "Too many arguments: " + longWord},
      {{"-A"}, kUserMissing},
      {{"-N", "-p", "x"}, kUserMissing},
      {{"-S", "dc1"}, "", kServerError},
      {{"-S", "10.1.2.3"}, "", kServerError},
      {{"-S", "", "-p", "x", "extra"}, "", kServerError},
      // Of several mistakes the first check's is told; the dump comes after all checks but the
      // last.
      {{"-S", "dc1", "-V", "extra"}, "", kServerError},
      {{"-A", "-S", "dc1"}, kUserMissing},
      {{"-V", "-d", "-z"}, "Only one option may be given."},
      {{"-Vd", "-S", "dc1.lab.test", "-p", "s3cret", "extra"},
       "Too many arguments: extra",
       dump("domain", "null", "administrator", "dc1.lab.test")},
      {{"-V", "-T", "lab.test", "x", "-p", "s3cret"},
       "Too many arguments: x",
       dump("<unknown>", "lab.test", "administrator", "null")},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.arguments).substr(0, 200));
    EXPECT_EQ(joinscope(row.arguments), (CommandResult{7, usage(row.message), row.err}));
  }
}

TEST(OptionErrors, JournalOptionsNeedTheJournal) {
  if (!isRoot() || ::access("/usr/bin/journalctl", X_OK) != 0) {
    GTEST_SKIP() << "needs root and journalctl";
  }
  const std::string range = "--lastnhrs/-l option's argument should be in [1...999999]";
  EXPECT_EQ(std::ranges::count(usage(), '\n'), 87);
  EXPECT_EQ(joinscope({"-l", "24", "-a"}), (CommandResult{7, usage(kWindow), ""}));
  EXPECT_EQ(joinscope({"-b", "now", "-S", "dc1"}), (CommandResult{7, usage(), kServerError}));
  EXPECT_EQ(joinscope({"--lastnhrs=0"}), (CommandResult{7, usage(range), ""}));
  EXPECT_EQ(joinscope({"-l", "4294967297"}), (CommandResult{7, usage(range), ""}));

  const std::string shortText = joinscope({"-h"}, kWithoutJournal).out;
  EXPECT_EQ(std::ranges::count(shortText, '\n'), 78);
  for (const Words& arguments : {Words{"-l", "24", "-t"}, {"--begin=x"}, {"-e", "x"}}) {
    EXPECT_EQ(joinscope(arguments, kWithoutJournal), (CommandResult{7, shortText, ""}));
  }
}

TEST(Options, HelpEndsTheWalk) {
  EXPECT_EQ(joinscope({"-d", "-h", "-z", "--nonsense"}), (CommandResult{0, usage(), ""}));
  EXPECT_EQ(joinscope({"-v"}), (CommandResult{0, "joinscope (Orvald 5.7.0-207)\n", ""}));
}

TEST(Options, CollectingIsForRoot) {
  const std::string refused = "You must be root to run --support or --debugcache.\n";
  const Words& way = isRoot() ? kAsNobody : kAsIs;
  if (joinscope({"-v"}, way).status != 0) {
    GTEST_SKIP() << "the binary is out of another user's reach";
  }
  EXPECT_EQ(joinscope({"-t"}, way), (CommandResult{9, "", refused}));
  EXPECT_EQ(joinscope({"-DV", "-S", "dc1", "extra", "-u", "x"}, way),
            (CommandResult{9, "", refused}));
}

TEST(Options, PasswordIsAskedForBeforeTheLaterChecks) {
  struct Case {
    Words arguments;
    CommandResult result;
  };
  const std::vector<Case> cases{
      {{"-v", "-u", "x"}, {0, "joinscope (Orvald 5.7.0-207)\n", ""}},
      {{"-a", "extra", "-u", "x"}, {7, usage("Too many arguments: extra"), ""}},
      {{"-u", "x", "-S", "dc1"}, {7, usage(), kServerError}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.arguments));
    const CommandResult result = joinscope(row.arguments, kWithoutTerminal, "s3cret\n");
    EXPECT_EQ(result.status, row.result.status);
    EXPECT_EQ(result.out, row.result.out);
    EXPECT_EQ(result.err.substr(0, kPrompt.size()), kPrompt);
    ASSERT_GE(result.err.size(), row.result.err.size());
    EXPECT_EQ(result.err.substr(result.err.size() - row.result.err.size()), row.result.err);
    EXPECT_EQ(result.err.find("s3cret"), std::string::npos);
  }
}

TEST(Gates, UnjoinedHost) {
  if (joinedHost()) GTEST_SKIP() << "this host is joined";
  const CommandResult noDomain{
      7, usage("No domain specified\nSpecify a domain or join the machine to a domain\n"), ""};
  const CommandResult notJoined{10, "", "Not joined to any domain.\n"};
  for (const Words& arguments : {Words{"-g"}, {"-T"}, {"--diag", "-S", "dc1.lab.test"}}) {
    EXPECT_EQ(joinscope(arguments), noDomain) << ::testing::PrintToString(arguments);
  }
  // The gate comes before the credentials are looked at.
  EXPECT_EQ(joinscope({"-C", "-u", "x", "-p", "y"}), notJoined);
  if (isRoot()) {
    EXPECT_EQ(joinscope({"-t"}), noDomain);
    EXPECT_EQ(joinscope({"-D"}), notJoined);
  }
}

TEST(Version, MissingSuiteFileIsALibraryFailure) {
  const std::string path = "/usr/share/orvald/etc/orvald_suite_version";
  if (::access(path.c_str(), F_OK) == 0) GTEST_SKIP() << "the suite is installed here";
  const CommandResult expected{
      3, "joinscope (Orvald 5.7.0-207)\nPellion Infrastructure Services Version <unavailable>\n",
      "Internal error: Cannot open file " + path + ": No such file or directory\n"};
  EXPECT_EQ(joinscope({"-x"}), expected);
  EXPECT_EQ(joinscope({"--suite-version"}), expected);
}

TEST(Output, WhatCannotBeWrittenIsAFailure) {
  const std::string message = "Error: Cannot write to standard output\n";
  EXPECT_EQ(shell("\"$1\" -h 2>&1 >/dev/full; echo $?"), message + "6\n");
  EXPECT_EQ(shell("\"$1\" -h 2>&1 >&-; echo $?"), message + "6\n");
  EXPECT_EQ(shell("\"$1\" -d -z 2>&1 >/dev/full; echo $?"), message + "7\n");
  EXPECT_EQ(shell("{ \"$1\" -v; echo $?; } <&- 2>&-"), "joinscope (Orvald 5.7.0-207)\n0\n");
}

TEST(Output, NothingElseTakesTheNumberOfAClosedStandardOutput) {
  if (!isRoot()) GTEST_SKIP() << "only root may look at a process that forbids it";
  // Looks at the process while it waits for a password.
  EXPECT_EQ(shell("d=$(mktemp -d) && mkfifo $d/p && exec 4<>$d/p && : >$d/e || exit; "
                  "setsid \"$1\" -v -u x <&4 >&- 2>>$d/e & "
                  "until grep -q password $d/e; do kill -0 $! || exit; done; "
                  "readlink /proc/$!/fd/1; echo >&4; wait $!; echo $?; rm -r $d"),
            "/dev/null\n6\n");
}

TEST(Output, ReaderThatHasGoneIsNoCrash) {
  // A FIFO whose only reader closes before the command starts.
  EXPECT_EQ(shell("d=$(mktemp -d) && mkfifo $d/p && exec 4<>$d/p 5>$d/p 4<&- && rm -r $d; "
                  "\"$1\" -h 2>&1 >&5; echo $?"),
            "6\n");
}

}  // namespace
}  // namespace joinscope::test
