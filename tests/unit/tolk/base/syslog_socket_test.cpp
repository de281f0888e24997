// Records as a log daemon receives them, and a daemon that does not.
#include "tolk/base/syslog_socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>

#include "tests/support/unix_socket.h"
#include "tests/unit/tolk/base/scratch_directory.h"

namespace tolk {
namespace {

UniqueFd daemonAt(const std::string& path) {
  return joinscope::test::unixSocket(::bind, path, SOCK_DGRAM | SOCK_NONBLOCK);
}

std::string received(const UniqueFd& daemon) {
  std::array<char, 65536> record;
  const ssize_t size = ::recv(daemon.get(), record.data(), record.size(), 0);
  return {record.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

class SyslogSocketTest : public testing::Test {
 protected:
  ScratchDirectory directory_;
  std::string path_ = directory_.path("log");
  SyslogSocket log_{"joinscope", path_};
};

TEST_F(SyslogSocketTest, RecordHasPriorityTimeNameAndText) {
  const UniqueFd daemon = daemonAt(path_);
  log_.send(LOG_WARNING, "clock is off");
  EXPECT_THAT(
      received(daemon),
      testing::MatchesRegex("<12>[A-Z][a-z]+ [ 0-9]+ [0-9:]+ joinscope.[0-9]+.: clock is off"));
  log_.send(LOG_ERR, std::string(100000, 'x'));
  EXPECT_THAT(received(daemon),
              testing::AllOf(testing::StartsWith("<11>"), testing::SizeIs(testing::Lt(8300U))));
}

TEST_F(SyslogSocketTest, DaemonThatDoesNotReadCostsRecordsAndNoTime) {
  const UniqueFd daemon = daemonAt(path_);
  for (int i = 0; i < 10000; ++i) log_.send(LOG_INFO, "record");  // far more than a queue holds
  EXPECT_NE(received(daemon), "");
}

TEST_F(SyslogSocketTest, DaemonThatComesLaterOrAnewIsFound) {
  log_.send(LOG_INFO, "nobody there");
  {
    const UniqueFd first = daemonAt(path_);
    log_.send(LOG_INFO, "one");
    EXPECT_THAT(received(first), testing::EndsWith(": one"));
  }
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  const UniqueFd second = daemonAt(path_);
  log_.send(LOG_INFO, "lost with the first");
  log_.send(LOG_INFO, "two");
  EXPECT_THAT(received(second), testing::EndsWith(": two"));
}

}  // namespace
}  // namespace tolk
