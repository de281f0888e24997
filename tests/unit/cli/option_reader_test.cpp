// The walk over the command line: what it accepts into the records, and which error it names first.
#include "cli/option_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cli/common/user_credentials.h"
#include "cli/option_checks.h"
#include "cli/options.h"

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
      {{"-d", "-z"}, "Only one option may be given."},
      {{"-a", "--all"}, "Only one option may be given."},
      {{"-V", "-d", "-V"}, "Verbose option may not be given twice"},
      {{"-o", "a", "-o", "b"}, "output option may not be given twice"},
      {{"--paths=", "-Pb"}, "additional paths option may not be given twice"},
      {{"-y", "all,foo,bar"}, module + "foo"},
      {{"-y", "dns,,zone"}, module},
      {{"-y", ""}, module},
      {{"-y", "dns "}, module + "dns "},
      {{"-d", "-y", "\xff\x1b[2J"}, module + "\xff\x1b[2J"},
      {{"-d", "-z", "-y", "foo"}, "Only one option may be given."},
      {{"-l", "0"}, range},
      {{"-l", "1000000"}, range},
      {{"-l", "-3"}, range},
      {{"-l", "4294967297"}, range},
      {{"-l", "99999999999999999999"}, range},
      {{"-l", ""}, range},
      {{"--nonsense"}, ""},
      {{"-k"}, ""},
      {{"-u"}, ""},
      {{"--lastnhrs"}, ""},
      {{"--ver"}, ""},
      {{"--all=x"}, ""},
      {{"-l", "0"}, "", exit_status::kUsageError, false},
      {{"--begin", "2025-01-01"}, "", exit_status::kUsageError, false},
      {{"-h", "--nonsense"}, "", exit_status::kSuccess},
      {{"-d", "-h"}, "", exit_status::kSuccess},
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
      {{"-A=x"}, Task::auth, "=x", ""},
      {{"-ddx"}, Task::all, "?", ""},
      {{"-a", "x", "y"}, Task::all, "-", "x|y|"},
      {{"--suite"}, Task::productVersion, "-", ""},
      {{"-N", "\xff"}, Task::ntlmauth, "\xff", ""},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(::testing::PrintToString(row.words));
    Walk walk(row.words);
    ASSERT_EQ(walk.refusal.has_value(), row.domain == "?");
    if (walk.refusal) continue;
    takeDomainWord(walk.options, walk.rest);
    EXPECT_EQ(walk.options.task, row.task);
    EXPECT_EQ(walk.options.domain == nullptr ? "-" : walk.options.domain, row.domain);
    EXPECT_EQ(joined(walk.rest), row.rest);
  }
}

TEST(OptionReader, ReadsModulesAsBits) {
  const std::vector<std::pair<std::string, std::uint32_t>> cases{
      {"dns,ZONE", 0x401},     {"all", 0xFFFFFFBF},          {"Cloud", 0x1000},
      {"orb", 0x1000},         {"health,config,dns", 0x811}, {"pmon_enable,pmon_disable", 0x300},
      {"all,dns", 0xFFFFFFBF},
  };
  for (const auto& [text, mask] : cases) {
    SCOPED_TRACE(text);
    const Walk walk({"-y", text});
    EXPECT_FALSE(walk.refusal.has_value());
    EXPECT_EQ(walk.options.sysinfoModules, mask);
    EXPECT_EQ(walk.options.task, Task::sysinfo);
  }
}

TEST(OptionReader, ReadsHoursAsStrtolDoes) {
  const std::vector<std::pair<std::string, int>> cases{
      {"24", 24}, {" \t+7", 7}, {"12abc", 12}, {"999999", 999999}, {"010", 10}};
  for (const auto& [text, hours] : cases) {
    SCOPED_TRACE(text);
    const Walk walk({"-l", text, "-t"});
    EXPECT_FALSE(walk.refusal.has_value());
    EXPECT_EQ(walk.options.lastHours, hours);
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
  for (const char* name : {"dc1.lab.test", ".", "-dc.x", "x1.2"}) {
    EXPECT_FALSE(checkServerName(name).has_value()) << name;
  }
  for (const char* name : {"10.1.2.3", "dc1", "", "1dc.lab.test"}) {
    const std::optional<Refusal> refusal = checkServerName(name);
    ASSERT_TRUE(refusal.has_value()) << name;
    EXPECT_EQ(refusal->error.find("Error: Server name must be a fully qualified DNS name\nFor "
                                  "example, "),
              0U);
    EXPECT_EQ(refusal->message, "");
    EXPECT_EQ(refusal->status, exit_status::kUsageError);
  }
  EXPECT_FALSE(checkServerName(nullptr).has_value());
}

TEST(OptionChecks, CollectingTasksAreForRoot) {
  for (const Task task : {Task::support, Task::debugcache}) {
    EXPECT_FALSE(checkRoot(task, 0).has_value());
    const std::optional<Refusal> refusal = checkRoot(task, 1000);
    ASSERT_TRUE(refusal.has_value());
    EXPECT_EQ(refusal->status, exit_status::kNotRoot);
    EXPECT_EQ(refusal->error, "You must be root to run --support or --debugcache.\n");
    EXPECT_FALSE(refusal->withUsage);
  }
  EXPECT_FALSE(checkRoot(Task::diag, 1000).has_value());
}

}  // namespace
}  // namespace joinscope
