// Privilege events on their way to a strict platform.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/signon/orb.h"
#include "tests/support/platform_server.h"
#include "tests/unit/cloud/fixed_connectors.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/cloud/raw_http_server.h"
#include "tolk/base/json.h"

namespace tolk::test {
namespace {

using joinscope::test::PlatformServer;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kPath = "tqsintegration/LogPrivEvent";

class OrbTest : public testing::Test {
 protected:
  OrbTest() { Props().set(PN::VELKD_CLOUD_LOG_PRIVEVENT, "true"); }
  ~OrbTest() override {
    ORBProcessor::setProcessor(nullptr);
    EXPECT_TRUE(RunQueue::shutdown(std::chrono::seconds(10)));
  }
  static PlatformServer platform(const std::string& events, int cookieUses = 1000) {
    return {{},
            R"({"client":"orb","cookieUses":)" + std::to_string(cookieUses) +
                R"(,"answers":{"security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=m%n; path=/"},)"
                R"("json":{"success":true},"repeat":true}],"tqsintegration/LogPrivEvent":)" +
                events + "}}"};
  }
  static RawHttpServer site() { return RawHttpServer(RawHttpServer::siteChecks(9)); }
  /// The bodies of the events that came, and the cookies that they came with.
  static std::vector<std::string> posted(const PlatformServer& server) {
    std::vector<std::string> events;
    for (const std::string& text : server.records()) {
      const json::Document record = json::parse(text);
      if (json::stringMember(record, "path") != kPath) continue;
      events.push_back(json::stringMember(record, "cookie") + " " +
                       json::stringMember(record, "body"));
    }
    return events;
  }
};

TEST_F(OrbTest, EventsAreForAnEnabledProcessor) {
  Props().set(PN::VELKD_CLOUD_LOG_PRIVEVENT, "false");
  const auto fails = [](const char* text, int code) {
    return testing::Throws<ORBException>(
        testing::AllOf(testing::Property(&ORBException::what, testing::StrEq(text)),
                       testing::Property(&ORBException::code, code)));
  };
  EXPECT_THAT(ORBProcessor::getProcessor, fails("ORB is disabled in config file.", 0));
  Props().set(PN::VELKD_CLOUD_LOG_PRIVEVENT, "true");
  EXPECT_THAT(ORBProcessor::getProcessor, fails("ORB is not ready.", 1));
}

TEST_F(OrbTest, SignsOnAndPostsInOrder) {
  const PlatformServer server = platform(
      R"([{"json":{"success":true}},{"json":{"success":true}},{"json":{"success":false}}])", 1);
  const RawHttpServer iwa = site();
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/";
  const FixedConnectors connectors(url, iwa.url());
  LogTexts log;
  ORBProcessor processor;
  ORBProcessor::handleLogPrivEvent({{"before", "sign-on"}});
  processor.initProc("");
  for (const char* value : {"1", "2", "3\xff", "4", "5", "6"}) {
    ORBProcessor::handleLogPrivEvent({{"z", value}, {"a", "\"\\"}});
  }
  processor.postLogPrivEvent();
  EXPECT_THAT(server.faults(), IsEmpty());
  // A cookie is good for one event: the next meets its end and is not sent again, no other is lost.
  // The fifth ends the pass.
  EXPECT_THAT(posted(server),
              ElementsAre(R"(m0 {"z":"1","a":"\"\\"})", R"(m0 {"z":"2","a":"\"\\"})",
                          R"(m3 {"z":"3\\xFF","a":"\"\\"})", R"(m3 {"z":"4","a":"\"\\"})",
                          R"(m6 {"z":"5","a":"\"\\"})"));
  processor.postLogPrivEvent();
  EXPECT_EQ(posted(server).size(), 5U);
  const std::vector<std::string> texts = log.take("cloud.orb.processor");
  EXPECT_THAT(texts, Contains("siteCheck: complete successfully"));
  EXPECT_THAT(texts, Contains("sso: result = 1, httpCode = 200"));
  EXPECT_THAT(texts, Contains("LogPrivEvent: machine cookie expired, will refetch"));
  EXPECT_THAT(texts, Contains("LogPrivEvent: unknown failure, give up such sending."));
}

TEST_F(OrbTest, FailedSiteChecksAreTold) {
  struct Row {
    RawHttpServer::Answer answer;
    const char* text;
  };
  const Row rows[] = {
      {{.bytes = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"},
       "siteCheck: httpCode not OK : 404"},
      {RawHttpServer::ok("\"result\":\"success\"}"),
       "siteCheck: no valid json string in SiteCheck response. Can't find '{' or '}'."},
      {RawHttpServer::ok("{\"result\":\"success\""),
       "siteCheck: no valid json string in SiteCheck response. Can't find '{' or '}'."},
      {RawHttpServer::ok("{\"result\":\"failure\"}"), "siteCheck: result not success: (failure)"},
      {RawHttpServer::ok("{\"result\":\"success\"}"),
       "Got exception: Errors in parsing result from Json: 'otc' does NOT exist"},
      {{.bytes = "", .close = true},
       "Got CURL exception: curl error occurred in curl_easy_perform: Server returned nothing (no "
       "headers, no data) (52)"},
  };
  for (const Row& row : rows) {
    const RawHttpServer iwa({row.answer});
    const FixedConnectors connectors("http://127.0.0.1:9/", iwa.url());
    LogTexts log;
    ORBProcessor processor;
    processor.initProc("");
    EXPECT_THAT(log.take("cloud.orb.processor"), Contains(row.text));
  }
}

TEST_F(OrbTest, EventsOfManyThreadsWhileOneIsPosted) {
  const PlatformServer server =
      platform(R"([{"json":{"success":true},"delayMs":2,"repeat":true}])");
  const RawHttpServer iwa = site();
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/";
  const FixedConnectors connectors(url, iwa.url());
  const auto processor = std::make_shared<ORBProcessor>();
  processor->initProc("");
  ORBProcessor::setProcessor(processor);
  (void)RunQueue::getRunQueue(ORB_QUEUE_NAME, true, 1);
  constexpr std::size_t kThreads = 8;
  constexpr std::size_t kEvents = 10;
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (std::size_t i = 0; i < kEvents; ++i) {
        ORBProcessor::handleLogPrivEvent({{"e", std::to_string(t) + "." + std::to_string(i)}});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (posted(server).size() < kThreads * kEvents && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::vector<std::string> events = posted(server);
  EXPECT_EQ(events.size(), kThreads * kEvents);
  std::ranges::sort(events);
  EXPECT_EQ(std::ranges::adjacent_find(events), events.end());
  EXPECT_THAT(server.faults(), IsEmpty());
}

}  // namespace
}  // namespace tolk::test
