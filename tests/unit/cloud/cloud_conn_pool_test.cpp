// Loans of transfers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "cloud/http/cloud_conn_pool.h"
#include "cloud/http/cloud_exceptions.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/cloud/raw_http_server.h"

namespace tolk::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class CloudConnPoolTest : public testing::Test {
 protected:
  static void expectExceeded(CloudConnPool& pool) {
    EXPECT_THAT([&] { (void)pool.getCurl("u", "p", {}); },
                testing::ThrowsMessage<CloudConnException>(
                    "Failed to get CURL handle for connection: connections exceeded."));
  }
};

TEST_F(CloudConnPoolTest, LimitsComeFromTheConfigurationOnce) {
  struct Row {
    const char* value;
    const char* maximum;
    bool faulty;
  };
  for (const Row& row : {Row{"3", "3", false}, Row{"21", "10", true}, Row{"-1", "10", true},
                         Row{"", "10", false}, Row{"0", "0", false}}) {
    Props().set(PN::VELKD_CLOUD_AUTH_CONN_MAX, row.value);
    LogTexts log;
    CloudConnPool pool;
    pool.setConnProps();
    EXPECT_THAT(pool.dump(), HasSubstr(std::string("Connections maximum: ") + row.maximum + "\n"));
    const auto texts = log.take("cloud.object");
    const auto fault = Contains(
        "Illegal value for velkd.cloud.auth.conn.max: " + std::string(row.value) + ". Using 10.");
    if (row.faulty) {
      EXPECT_THAT(texts, fault);
    } else {
      EXPECT_THAT(texts, Not(fault));
    }
    Props().set(PN::VELKD_CLOUD_AUTH_CONN_MAX, "7");
    pool.setConnProps();
    const bool read = *row.maximum != '0';
    EXPECT_EQ(pool.dump().find("maximum: 7") == std::string::npos, read);
  }
  Props().set(PN::VELKD_CLOUD_AUTH_CONN_MAX, "0");
  CloudConnPool none;
  expectExceeded(none);
}

TEST_F(CloudConnPoolTest, LoansAreReusedAndBounded) {
  Props().set(PN::VELKD_CLOUD_AUTH_CONN_MAX, "2");
  CloudConnPool pool;
  const auto first = pool.getCurl("ann", "login", {});
  const auto second = pool.getCurl("bob", "sudo", {});
  EXPECT_NE(first, second);
  expectExceeded(pool);
  pool.releaseCurl(second.get());
  EXPECT_EQ(pool.getCurl("cid", "login", {}), second);
  EXPECT_THAT(pool.dump(), HasSubstr("       User name: cid\n       Program name: login\n"
                                     "       Occupied: Yes\n       Expired: No\n"));
}

TEST_F(CloudConnPoolTest, LoansHeldTooLongAreTakenBack) {
  Props().set(PN::VELKD_CLOUD_AUTH_CONN_MAX, "2");
  Props().set(PN::TOLKD_CLIENT_IDLE_TIMEOUT, "1");
  CloudConnPool pool;
  const auto first = pool.getCurl("ann", "login", {});
  const auto second = pool.getCurl("bob", "sudo", {});
  // Both are given up; their borrowers may still use them, and give them back.
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  const auto third = pool.getCurl("dee", "login", {});
  EXPECT_THAT(pool.dump(), HasSubstr("Current count: 1\nCurrent occupied count: 1\n"));
  pool.releaseCurl(first.get());
  pool.releaseCurl(second.get());
  pool.releaseCurl(nullptr);
  EXPECT_THAT(pool.dump(), HasSubstr("Current count: 1\nCurrent occupied count: 1\n"));
  pool.reapCurls(true);
  pool.releaseCurl(third.get());
  EXPECT_THAT(pool.dump(), HasSubstr("Current count: 0\nCurrent occupied count: 0\n"));
}

TEST_F(CloudConnPoolTest, NothingOfOneUserReachesTheNext) {
  const RawHttpServer server(
      {RawHttpServer::ok("", "Set-Cookie: .ASPXAUTH=ann; path=/\r\n"), RawHttpServer::ok("")});
  CloudConnPool pool;
  const auto ann = pool.getCurl("ann", "login", {});
  ann->makeRequest(server.url(), {}, false);
  EXPECT_EQ(ann->getCookie(".ASPXAUTH"), "ann");
  ann->setOption(CURLOPT_USERPWD, std::string("ann:secret"));
  pool.releaseCurl(ann.get());
  const auto bob = pool.getCurl("bob", "login", {});
  ASSERT_EQ(ann, bob);
  bob->makeRequest(server.url(), {}, false);
  EXPECT_THAT(server.requests()[1], Not(HasSubstr("Cookie:")));
  EXPECT_THAT(server.requests()[1], Not(HasSubstr("Authorization:")));
  EXPECT_THAT(server.requests()[1],
              HasSubstr("Content-Type: application/json\r\nX-PELLION-NATIVE-CLIENT: 1\r\n"
                        "X-PLN-SRC: TQS\r\nX-TZOFF: "));
}

/// Borrows and gives back so many times, and counts how many have a transfer at one time.
void borrow(CloudConnPool& pool, int loans, std::atomic<int>& lent, std::atomic<int>& most) {
  while (loans > 0) {
    try {
      const auto curl = pool.getCurl("u", "p", {});
      const int now = ++lent;
      for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
      }
      --lent;
      pool.releaseCurl(curl.get());
      --loans;
    } catch (const CloudConnException&) {
      std::this_thread::yield();
    }
  }
}

TEST_F(CloudConnPoolTest, ManyThreadsShareFewTransfers) {
  CloudConnPool pool;
  std::atomic<int> lent = 0;
  std::atomic<int> most = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 200; ++i) threads.emplace_back([&] { borrow(pool, 5, lent, most); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(most, 10);
  EXPECT_THAT(pool.dump(), HasSubstr("Current occupied count: 0\n"));
}

TEST(TimeZoneOffset, CountsFromThisHost) {
  struct Row {
    const char* zone;
    const char* offset;
  };
  for (const Row& row : {Row{"UTC", "0"}, Row{"XXX-8", "-480"}, Row{"XXX5", "300"},
                         Row{"XXX-5:45", "-345"}, Row{"XXX-14", "-840"}}) {
    ::setenv("TZ", row.zone, 1);
    ::tzset();
    EXPECT_EQ(timeZoneOffset(1700000000), row.offset) << row.zone;
  }
  ::unsetenv("TZ");
  ::tzset();
}

}  // namespace
}  // namespace tolk::test
