// The configuration file's syntax, the bounds on the file, and how values are read.
#include "tolk/base/properties.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <map>

#include "tests/support/failure_of.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

using namespace std::string_literals;

std::string dump(const Properties& properties) {
  std::string text;
  for (const auto& [key, value] : properties.all()) text += "[" + key + "=" + value + "]";
  return text;
}

TEST(Properties, Syntax) {
  struct Row {
    const char* about;
    std::string text;
    std::string expected;
  };
  const Row rows[] = {
      {"white space round both", "\t key \t:  a b \t\n", "[key=a b]"},
      {"colons of the value", "url: https://x:8443/\n", "[url=https://x:8443/]"},
      {"carriage returns", "a: 1\r\n\r\nb: 2\r\n", "[a=1][b=2]"},
      {"comments", "# a: 1\n   #b: 2\nc: 3 # not a comment\n", "[c=3 # not a comment]"},
      {"no property", "nonsense\n: no key\n\nk: v\n", "[k=v]"},
      {"continued", "k: a \\\n    b\\\nc\nl: 1\n", "[k=a bc][l=1]"},
      {"continued over a carriage return", "k: a\\\r\nb\r\n", "[k=ab]"},
      {"comment is not continued", "# c \\\nk: 1\n", "[k=1]"},
      {"backslash and blank is a value", "k: a\\ \nl: 1\n", "[k=a\\][l=1]"},
      {"backslash at the end of the file", "k: a\\", "[k=a]"},
      {"only backslashes", "\\\n\\\n\\", ""},
      {"continued key", "long\\\n  key: 1\n", "[longkey=1]"},
      {"last of several wins", "Key: 1\nother: x\nKEY: 2\n", "[KEY=2][other=x]"},
      {"order without case", "b: 1\nA: 2\nC: 3\n", "[A=2][b=1][C=3]"},
      {"byte-order mark", "\xEF\xBB\xBFk: 1\n", "[k=1]"},
      {"NUL is a character", "k: a\0b\n"s, "[k=a\0b]"s},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    Properties properties;
    properties.parse(row.text);
    EXPECT_EQ(dump(properties), row.expected);
  }
}

TEST(Properties, WhatIsNoReadableFileAddsNothing) {
  const ScratchDirectory directory;
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
  std::filesystem::create_directory(directory.path("directory"));
  directory.write("huge", "k: v\n");
  std::filesystem::resize_file(directory.path("huge"), (std::uintmax_t{16} << 20U) + 1);
  for (const auto& [name, error] : std::map<std::string, int>{
           {"absent", ENOENT}, {"fifo", EINVAL}, {"directory", EISDIR}, {"huge", EFBIG}}) {
    Properties properties;
    EXPECT_FALSE(properties.load(directory.path(name), true)) << name;
    const std::string failure =
        test::failureOf<IOException>([&] { return properties.load(directory.path(name), false); });
    EXPECT_TRUE(failure.starts_with(std::to_string(error) + " ")) << failure;
    EXPECT_TRUE(properties.empty());
  }
}

TEST(Properties, ReloadReplacesAndAFailedStrictOneLeavesAll) {
  const ScratchDirectory directory;
  Properties properties;
  properties.parse("old: 1\n");
  EXPECT_THROW(properties.reload(directory.path("absent"), false), IOException);
  EXPECT_EQ(dump(properties), "[old=1]");
  properties.reload(directory.write("orvald.conf", "new: 2\n"), false);
  EXPECT_EQ(dump(properties), "[new=2]");
  properties.reload(directory.path("absent"), true);
  EXPECT_TRUE(properties.empty());
}

TEST(Properties, TimesHaveUnitsAndNonsenseIsTheFallback) {
  struct Row {
    const char* text;
    char unit;
    long expected;
  };
  const Row rows[] = {{"15", 's', 15},    {"2m", 's', 120},
                      {"1 H", 's', 3600}, {"2d", 'h', 48},
                      {"90s", 'm', 1},    {"-5", 's', -5},
                      {"", 's', 77},      {"s", 's', 77},
                      {"1.5", 's', 77},   {"5x", 's', 77},
                      {"5 5", 's', 77},   {"99999999999999999999", 's', 77},
                      {"0", 's', 0},      {"9223372036854775807d", 's', 77}};
  for (const Row& row : rows) {
    Properties properties;
    properties.set("t", row.text);
    EXPECT_EQ(properties.getTime("T", row.unit, 77), row.expected) << row.text;
  }
}

TEST(Properties, LimitsAreClampedAndNonsenseIsTheDefault) {
  const std::pair<const char*, int> limits[] = {
      {"0.25", 250}, {"2m", 120000}, {"0", 100},     {"1e9", 3600000}, {"2d", 3600000},
      {"5 s", 5000}, {"-1", 10000},  {"inf", 10000}, {"nan", 10000},   {"ten", 10000}};
  for (const auto& [text, expected] : limits) {
    Properties properties;
    properties.set(PN::VELKD_RPC_TIMEOUT, text);
    EXPECT_EQ(properties.getLimitMs(PN::VELKD_RPC_TIMEOUT), expected) << text;
  }
  const std::pair<const char*, long> counts[] = {{"25", 25},    {"0", 100},        {"-3", 100},
                                                 {"1001", 100}, {"25 pages", 100}, {"", 100}};
  for (const auto& [text, expected] : counts) {
    Properties properties;
    properties.set(PN::TOLKD_PAGED_SEARCH_MAX, text);
    EXPECT_EQ(properties.getNumber(PN::TOLKD_PAGED_SEARCH_MAX, 1, 1000), expected) << text;
  }
}

TEST(Properties, WhatIsNoBooleanIsTheDefault) {
  const Property& off = PN::CLOUD_DIRECT_CONNECTION;
  const Property& on = PN::KRB5_ALLOW_WEAK_CRYPTO;
  const Properties none;
  EXPECT_TRUE(!none.getBool(off) && none.getBool(on));
  struct Case {
    const char* text;
    bool whereOff, whereOn;
  };
  for (const Case& row : {Case{"TRUE", true, true},
                          {"Yes", true, true},
                          {"1", true, true},
                          {"False", false, false},
                          {"no", false, false},
                          {"0", false, false},
                          {"on", false, true},
                          {"", false, true}}) {
    Properties properties;
    properties.set(off, row.text);
    properties.set(on, row.text);
    EXPECT_EQ(properties.getBool(off), row.whereOff) << row.text;
    EXPECT_EQ(properties.getBool(on), row.whereOn) << row.text;
  }
}

}  // namespace
}  // namespace tolk
