// Records in a file: their form, the root level, and that nothing ever reaches the two standard
// streams.
#include "tolk/base/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

using testing::HasSubstr;

std::string contentOf(const std::string& path) {
  std::ostringstream out;
  out << std::ifstream(path).rdbuf();
  return out.str();
}

void setRootLevel(const std::string& level) {
  Properties properties;
  properties.set(PN::ROOT_LOGGER_NAME, level);
  Logger::ReconfigureLevels(properties);
}

class LoggerTest : public testing::Test {
 protected:
  void SetUp() override {
    openLog(LogSink::file, path_);
    setRootLevel("INFO");
  }
  void TearDown() override { openLog(LogSink::file, ""); }

  ScratchDirectory directory_;
  std::string path_ = directory_.path("orvald.log");
  const Logger& logger_ = Logger::GetThreadPrivateLogger("cli.joinscope");
};

TEST_F(LoggerTest, RecordNamesLoggerTextAndPlace) {
  logger_.log(LogLevel::warning, "clock is off");
  const unsigned line = __LINE__ - 1;
  logger_.log(LogLevel::info, "task", LogSource{"cli_info", "main2", 7});
  EXPECT_THAT(contentOf(path_), HasSubstr(" warning cli.joinscope: clock is off ("));
  EXPECT_THAT(contentOf(path_), HasSubstr("logger_test.cpp:" + std::to_string(line) + " "));
  EXPECT_THAT(contentOf(path_), HasSubstr(" info cli.joinscope: task (cli_info:7 main2)\n"));
}

TEST_F(LoggerTest, ForeignTextCannotForgeARecord) {
  logger_.log(LogLevel::error, "no such host \"x\n2024-01-01 fake: entry\x1b[1m\"");
  const std::string log = contentOf(path_);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
  EXPECT_THAT(log, HasSubstr("\"x\\x0A2024-01-01 fake: entry\\x1B[1m\""));
}

TEST_F(LoggerTest, RootLevelDropsWhatIsBelow) {
  struct Row {
    const char* level;
    LogLevel least;
  };
  const Row rows[] = {{"TRACE", LogLevel::trace}, {"debug", LogLevel::debug},
                      {"Info", LogLevel::info},   {"WARN", LogLevel::warning},
                      {"ERROR", LogLevel::error}, {"nonsense", LogLevel::info}};
  for (const Row& row : rows) {
    setRootLevel(row.level);
    for (int level = 0; level <= 4; ++level) {
      EXPECT_EQ(Logger::enabled(static_cast<LogLevel>(level)), level >= static_cast<int>(row.least))
          << row.level << " " << level;
    }
  }
  setRootLevel("WARN");
  logger_.log(LogLevel::info, "dropped");
  EXPECT_FALSE(std::ifstream(path_).is_open());  // not even opened
}

TEST_F(LoggerTest, SinksThatFailStaySilent) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const std::string& target : {std::string("/dev/full"), directory_.path(), path_ + "/no"}) {
    openLog(LogSink::file, target);
    logger_.log(LogLevel::error, "lost");
  }
  openLog(LogSink::syslog, "joinscope-test");
  logger_.log(LogLevel::error, "to the system's log, or lost");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LoggerTest, LogFileIsNotInheritedByCommands) {
  logger_.log(LogLevel::error, "open");
  const std::string probe = "for f in /proc/self/fd/*; do readlink \"$f\"; done | grep -c " + path_;
  FILE* pipe = ::popen(probe.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  int count = -1;
  EXPECT_EQ(::fscanf(pipe, "%d", &count), 1);
  ::pclose(pipe);
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace tolk
