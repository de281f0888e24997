// When the directory is searched, what its failures cost, and what callers get meanwhile.
#include "tests/unit/cloud/locator_stage.h"

#include <atomic>
#include <future>
#include <thread>

#include "cloud/connectors/cloud_connectors_refresh.h"
#include "cloud/http/cloud_exceptions.h"

namespace tolk {
namespace {

using test::LocatorTest;
using test::LogTexts;
using testing::ElementsAre;

TEST_F(LocatorTest, FailuresOfTheDirectoryLeaveTheListsAlone) {
  ASSERT_TRUE(locator_.UpdateCloudConnectors());
  directory_.catalogDown = true;
  EXPECT_THAT(
      update(locator_),
      testing::IsSupersetOf({"Failed to search cloud connectors in GC due to LDAP exception",
                             "Failed to search cloud connectors in GC, trying DC",
                             "Refresh cloud connectors info done"}));
  directory_.controllerDown = true;
  EXPECT_THAT(update(locator_),
              testing::IsSupersetOf({"Failed to search cloud connectors in AD",
                                     "Failed to search cloud connectors.",
                                     "Fail to refresh Pellion Connector information: Failed to "
                                     "search Pellion Connectors in AD"}));
  directory_.healthy = directory_.connected = false;
  EXPECT_THAT(update(locator_),
              ElementsAre("Connection healthy check failed.",
                          "velkd Disconnected, delaying UpdateConnector2ComputerObject..."));
  EXPECT_TRUE(locator_.needsRefresh());
  EXPECT_EQ(locator_.getCloudConnector(), "10.2.2.2:8080");
  CloudConnectorsRefresh task(locator_);
  task.updateTimeout();
  EXPECT_EQ(task.getTimeout(), 60) << "and not after hours";
  directory_.healthy = true;
  directory_.place = {};
  locator_.checkSite();
  EXPECT_EQ(locator_.getCloudConnector(), "10.2.2.2:8080") << "no answer is no other site";
  directory_.controllerDown = false;
  CloudConnectorsSiteCheck(locator_).run();
  EXPECT_FALSE(locator_.needsRefresh()) << "a connected agent makes up for a search";
}

TEST_F(LocatorTest, TaskEndsWithIntervalZeroAndStaysWithoutMfa) {
  CloudConnectorsRefresh task(locator_);
  set(PN::CLOUD_CONNECTOR_REFRESH_INTERVAL, "0");
  LogTexts log;
  task.run();
  EXPECT_FALSE(task.periodic());
  EXPECT_THAT(log.take(), ElementsAre("Background task of refreshing Pellion Connectors has been "
                                      "suspended due to the interval being set to 0."));
  set(PN::CLOUD_CONNECTOR_REFRESH_INTERVAL, "2m");
  set(PN::VELKD_LEGACYZONE_MFA_ENABLED, "false");
  task.run();
  task.updateTimeout();
  EXPECT_TRUE(task.periodic());
  EXPECT_EQ(task.getTimeout(), 120);
  EXPECT_THAT(log.take(), ElementsAre("MFA is not enabled, no need to refresh cloud connector."));
  EXPECT_THAT(directory_.filters, ElementsAre());
}

TEST_F(LocatorTest, AnotherSiteChangesTheOrderWithoutASearch) {
  locator_.UpdateCloudConnectors();
  locator_.connectorFailed(locator_.getCloudConnector());
  directory_.filters.clear();
  locator_.checkSite();
  EXPECT_EQ(locator_.getCloudConnector(), "10.1.1.1:8080");
  directory_.place.site = "Far";
  directory_.place.address.reset();
  locator_.checkSite();
  EXPECT_THAT(drain(locator_), ElementsAre("far.test:8080", "10.1.1.1:8080"));
  EXPECT_THAT(directory_.filters, ElementsAre());
}

TEST_F(LocatorTest, RefreshAskedForDuringARefreshIsMade) {
  const auto queue = RunQueue::getRunQueue("refreshes", true, 1);
  std::promise<void> second;
  int opens = 0;
  directory_.onOpen = [&] {
    if (++opens == 1) queue->queue(std::make_shared<CloudConnectorsRefresh>(locator_));
    if (opens == 2) second.set_value();
  };
  queue->queue(std::make_shared<CloudConnectorsRefresh>(locator_));
  EXPECT_EQ(second.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(RunQueue::shutdown(std::chrono::seconds(10)));
}

TEST_F(LocatorTest, CallersGoOnWhileItRefreshes) {
  std::atomic<bool> ended = false;
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([this, &ended] {
      while (!ended) {
        locator_.connectorFailed(locator_.getCloudConnector());
        (void)locator_.platformUrl();
        (void)locator_.dump();
      }
    });
  }
  for (int i = 0; i < 20; ++i) locator_.UpdateCloudConnectors();
  ended = true;
  for (std::thread& caller : callers) caller.join();
  locator_.UpdateCloudConnectors();
  EXPECT_EQ(locator_.getCloudConnector(), "10.2.2.2:8080");
}

TEST(CloudConnectorLocatorInstance, NeedsADirectoryAgent) {
  CloudConnectorLocator::m_adagent.reset();
  EXPECT_THAT([] { (void)CloudConnectorLocator::getInstance(); },
              testing::ThrowsMessage<CloudConnectorException>("Can not get ADAgent"));
}

}  // namespace
}  // namespace tolk
