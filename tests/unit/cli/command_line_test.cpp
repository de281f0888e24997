// The walk over the command line: what it accepts into the records, which error it names first, and
// what --verbose shows of it.
#include "cli/command_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cli/common/user_credentials.h"
#include "cli/joins/progress_line.h"

namespace joinscope {
namespace {

// One walk over an argument vector that can be written to, as a process has it.
struct Walk {
  explicit Walk(std::vector<std::string> words, bool journal = true) : texts(std::move(words)) {
    texts.insert(texts.begin(), "joinscope");
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    options.journalSupported = journal;
    refusal = readOptions(static_cast<int>(texts.size()), argv.data(), credentials, options, rest);
  }

  std::vector<std::string> texts;
  std::vector<char*> argv;
  UserCredentials credentials;
  Options options;
  std::vector<const char*> rest;
  std::optional<Refusal> refusal;
};

std::string joined(const std::vector<const char*>& words) {
  std::string text;
  for (const char* word : words) text += std::string(word) + '|';
  return text;
}

TEST(OptionReader, NamesTheFirstErrorInArgumentOrder) {
  const std::string range = "--lastnhrs/-l option's argument should be in [1...999999]";
  const std::string module = "Invalid system information module: ";
  struct Case {
    std::vector<std::string> words;
    std::string message;  // "" is the usage alone
    int status = exit_status::kUsageError;
    bool journal = true;
  };
  const std::vector<Case> cases{
      {{"-y", "dns,,zone"}, module},
      {{"-y", ""}, module},
      {{"-y", "dns "}, module + "dns "},
      {{"-d", "-z", "-y", "foo"}, "Only one option may be given."},
      {{"-l", "1000000"}, range},
      {{"-l", "-3"}, range},
      {{"-l", "99999999999999999999"}, range},
      {{"-l", ""}, range},
      {{"--all=x"}, ""},
      {{"-l", "0"}, "", exit_status::kUsageError, false},
      {{"--nonsense", "-h"}, ""},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    const Walk walk(row.words, row.journal);
    ASSERT_TRUE(walk.refusal.has_value());
    EXPECT_EQ(walk.refusal->message, row.message);
    EXPECT_EQ(walk.refusal->status, row.status);
    EXPECT_TRUE(walk.refusal->withUsage);
    EXPECT_EQ(walk.refusal->error, "");
  }
}

TEST(OptionReader, TakesTaskDomainAndWords) {
  struct Case {
    std::vector<std::string> words;
    Task task;
    std::string domain;  // "-" is none
    std::string rest;
  };
  const std::vector<Case> cases{
      {{}, Task::all, "-", ""},
      {{"-g", "lab.test"}, Task::diag, "lab.test", ""},
      {{"-glab.test", "x"}, Task::diag, "lab.test", "x|"},
      {{"--diag=", "x"}, Task::diag, "", "x|"},
      {{"-gV"}, Task::diag, "V", ""},
      {{"x", "--supp", "y"}, Task::support, "x", "y|"},
      {{"-T", "--", "-d"}, Task::test, "-d", ""},
      {{"-a", "x", "y"}, Task::all, "-", "x|y|"},
      {{"--suite"}, Task::productVersion, "-", ""},
      {{"-N", "\xff"}, Task::ntlmauth, "\xff", ""},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    Walk walk(row.words);
    ASSERT_FALSE(walk.refusal.has_value());
    takeDomainWord(walk.options, walk.rest);
    EXPECT_EQ(walk.options.task, row.task);
    EXPECT_EQ(walk.options.domain == nullptr ? "-" : walk.options.domain, row.domain);
    EXPECT_EQ(joined(walk.rest), row.rest);
  }
}

TEST(OptionReader, ReadsModulesAsBitsAndHoursAsStrtolDoes) {
  const std::pair<const char*, std::uint32_t> modules[] = {
      {"dns,ZONE", 0x401}, {"all,dns", 0xFFFFFFBF},      {"Cloud", 0x1000},
      {"orb", 0x1000},     {"health,config,dns", 0x811}, {"pmon_enable,pmon_disable", 0x300}};
  for (const auto& [text, mask] : modules) {
    const Walk walk({"-y", text});
    EXPECT_FALSE(walk.refusal.has_value()) << text;
    EXPECT_EQ(walk.options.sysinfoModules, mask) << text;
  }
  const std::pair<const char*, int> hours[] = {
      {" \t+7", 7}, {"12abc", 12}, {"999999", 999999}, {"010", 10}};
  for (const auto& [text, count] : hours) {
    const Walk walk({"-l", text, "-t"});
    EXPECT_FALSE(walk.refusal.has_value()) << text;
    EXPECT_EQ(walk.options.lastHours, count) << text;
  }
}

TEST(OptionReader, MovesThePasswordOutOfTheArgumentVector) {
  const std::string secret = "s3cret \xff pass";
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-p", secret},
                                                {"-p" + secret},
                                                {"--password=" + secret},
                                                {"--passw", secret},
                                                {"-p", "other-" + secret, "-Ip" + secret}}) {
    SCOPED_TRACE(::testing::PrintToString(words.size()));
    const Walk walk(words);
    EXPECT_TRUE(walk.credentials.passwordGiven);
    EXPECT_TRUE(walk.credentials.password.view() == secret);  // no secret in a failure's message
    for (const std::string& text : walk.texts) {
      EXPECT_EQ(text.find("s3cret"), std::string::npos);
    }
  }
}

TEST(OptionChecks, ServerNameIsFullyQualified) {
  for (const char* name :
       {"dc1.lab.test", ".", "-dc.x", "x1.2", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(checkServerName(name).has_value()) << (name == nullptr ? "none" : name);
  }
  for (const char* name : {"10.1.2.3", "dc1", "", "1dc.lab.test"}) {
    EXPECT_TRUE(checkServerName(name).has_value()) << name;
  }
}

TEST(VerboseDump, ShowsEverythingButThePassword) {
  Options options;
  options.task = Task::test;
  options.domain = "lab.test";
  options.outputPath = "-";
  options.additionalPaths = "/a /b";
  UserCredentials credentials;
  credentials.user = "tester";
  credentials.passwordGiven = true;
  credentials.password = tolk::Shredder("s3cret");
  credentials.ccacheName = "FILE:/tmp/krb5cc_1000";
  credentials.interactive = true;
  std::string text;
  for (const std::string& line : verboseLines(options, credentials)) text += line + "$\n";
  EXPECT_EQ(text, R"(Options:$
-------$
task: <unknown>$
domain: lab.test$
output: -$
additional paths: /a /b $
user: tester$
using user's credential cache: Yes$
allow password prompt in kerberos get init credential: Yes$
user's credential cache: FILE:/tmp/krb5cc_1000$
server: null$
)");
}

TEST(ProgressLine, IsForATerminalOnly) {
  testing::internal::CaptureStderr();
  ProgressLine().show(5);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace joinscope
