// Records in a file: their form, the root level, and that nothing ever reaches the two standard
// streams.
#include "tolk/base/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/log_limit.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

void setRootLevel(const char* level) {
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
  const std::string name_ = "cli.joinscope";
  const Logger& logger_ = Logger::GetThreadPrivateLogger(name_);
};

TEST_F(LoggerTest, RecordIsOneLineWithLoggerTextAndPlace) {
  logger_.log(LogLevel::error, "host \"x\n2024-01-01 fake: entry\x1b[1m\"");
  const unsigned line = __LINE__ - 1;
  logger_.log(LogLevel::info, "task", LogSource{"cli_info", "main2", 7});
  std::ifstream log(path_);
  std::string records[3];
  for (std::string& record : records) std::getline(log, record);
  EXPECT_THAT(records[0], testing::HasSubstr(" error cli.joinscope: host \"x\\x0A2024-01-01 fake: "
                                             "entry\\x1B[1m\" ("));
  EXPECT_THAT(records[0], testing::HasSubstr("logger_test.cpp:" + std::to_string(line) + " "));
  EXPECT_THAT(records[1], testing::EndsWith(" info cli.joinscope: task (cli_info:7 main2)"));
  EXPECT_EQ(records[2], "");
}

TEST_F(LoggerTest, RootLevelDropsWhatIsBelow) {
  const std::pair<const char*, LogLevel> rows[] = {
      {"TRACE", LogLevel::trace},  {"debug", LogLevel::debug}, {"Info", LogLevel::info},
      {"WARN", LogLevel::warning}, {"ERROR", LogLevel::error}, {"nonsense", LogLevel::info}};
  for (const auto& [name, least] : rows) {
    setRootLevel(name);
    for (int level = 0; level <= 4; ++level) {
      EXPECT_EQ(Logger::enabled(static_cast<LogLevel>(level)), level >= static_cast<int>(least))
          << name << " " << level;
    }
  }
  setRootLevel("WARN");
  logger_.log(LogLevel::info, "dropped");
  EXPECT_FALSE(std::filesystem::exists(path_));  // not even opened
}

TEST_F(LoggerTest, OneKindOfRecordDoesNotFillTheDisk) {
  for (int i = 0; i < 1000; ++i) logger_.log(LogLevel::warning, std::string(1U << 17U, 'x'));
  logger_.log(LogLevel::warning, "of another kind");
  std::ifstream log(path_);
  const std::string records{std::istreambuf_iterator<char>(log), {}};
  EXPECT_EQ(std::ranges::count(records, '\n'), 31);
  EXPECT_LT(records.size(), 31U * 17 * 1024);
  EXPECT_THAT(records, testing::HasSubstr("of another kind"));
}

TEST(LogLimit, LetsLinesInAgainAndTellsHowManyWereLeftOut) {
  using namespace std::chrono_literals;
  const LogRate rate{.atOnce = 3, .interval = 10s};
  const LogLimit::Place place{"server.cpp", 7};
  const LogLimit::Clock::time_point start{};
  LogLimit limit;
  const auto admitted = [&](LogLimit::Clock::duration at) {
    int lines = 0;
    for (int i = 0; i < 5; ++i) lines += limit.admit(place, rate, start + at) ? 1 : 0;
    return lines;
  };
  EXPECT_EQ(admitted(0s), 3);
  EXPECT_TRUE(limit.takeLeftOut(start + 9s).empty()) << "more of them may be left out";
  const auto told = limit.takeLeftOut(start + 10s);
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0].lines, 2U);
  EXPECT_EQ(told[0].place, place);
  EXPECT_TRUE(limit.takeLeftOut(start + 10s).empty());
  EXPECT_EQ(admitted(20s), 2);
  EXPECT_EQ(admitted(1h), 3);
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

TEST_F(LoggerTest, DestructorsAtTheEndOfTheProcessMayLog) {
  struct Late {
    ~Late() { Logger::GetThreadPrivateLogger("cli.joinscope").log(LogLevel::error, "late"); }
  };
  const auto end = [] {
    static const Late late;
    Logger::GetThreadPrivateLogger("cli.joinscope").log(LogLevel::error, "early");
    std::exit(0);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(0), "^$");
  std::ifstream log(path_);
  const std::string records{std::istreambuf_iterator<char>(log), {}};
  EXPECT_THAT(records, testing::HasSubstr("cli.joinscope: late"));
}

}  // namespace
}  // namespace tolk
