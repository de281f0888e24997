// Whole refreshes over a directory in memory: what is asked of it, what its failures cost, and what
// callers get meanwhile.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <thread>

#include "cloud/connectors/cloud_connectors_refresh.h"
#include "cloud/connectors/cloudconnectorlocator.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/http_proxy.h"
#include "tests/unit/cloud/log_texts.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

using test::LogTexts;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// What a directory holds, and how it fails.
struct Directory {
  bool healthy = true;
  bool connected = true;
  bool catalogDown = false;
  bool controllerDown = false;
  AgentPlace place{.site = "Here", .nextClosestSite = "Near", .address = {}};
  ADObject zone;
  std::vector<ADObject> connectors;
  std::vector<ADObject> computers;
  std::vector<std::string> filters;  // asked for
  std::function<void()> onOpen = [] {};

  void add(const std::string& host, const std::vector<std::string>& keywords) {
    const std::string computer = "CN=" + host + ",DC=lab,DC=test";
    connectors.emplace_back("CN=proxy," + computer);
    std::vector<std::string> values{"pellion.core.webproxyenabled:true"};
    for (const std::string& keyword : keywords) values.push_back("pellion." + keyword);
    connectors.back()[AD_KEYWORDS] = values;
    computers.emplace_back(computer);
    computers.back()[AD_DNS_HOST_NAME] = host;
  }
};

class Session final : public ADSession {
 public:
  explicit Session(Directory& directory) : directory_(directory) {}
  bool isHealthy() override { return directory_.healthy; }
  ADObjectList search(Server server, const std::string& filter,
                      const std::vector<std::string>& /*attributes*/) override {
    const bool catalog = server == Server::globalCatalog;
    directory_.filters.push_back((catalog ? "GC " : "DC ") + filter);
    if (catalog && directory_.catalogDown) throw LDAPException("catalog", -1);
    if (!catalog && directory_.controllerDown) throw LDAPException("controller", -1);
    const bool computers = filter.starts_with("(&(objectCategory");
    const auto& all = computers ? directory_.computers : directory_.connectors;
    return {all.begin(), all.end()};
  }
  std::vector<ADObject> fetch(Server /*server*/, const std::vector<std::string>& names,
                              const std::vector<std::string>& /*attributes*/) override {
    std::vector<ADObject> found;
    for (const std::string& name : names) {
      const auto& all = directory_.computers;
      const auto at = std::find_if(all.begin(), all.end(),
                                   [&name](const ADObject& item) { return item.dn() == name; });
      found.push_back(at == all.end() ? ADObject() : *at);
    }
    return found;
  }
  AgentPlace place() override { return directory_.place; }
  ADObject zone() override { return directory_.zone; }

 private:
  Directory& directory_;
};

class Agent final : public ADAgent {
 public:
  explicit Agent(Directory& directory) : directory_(directory) {}
  std::unique_ptr<ADSession> open() override {
    directory_.onOpen();
    return std::make_unique<Session>(directory_);
  }
  bool inZone() const override { return static_cast<bool>(directory_.zone); }
  bool isConnected() const override { return directory_.connected; }

 private:
  Directory& directory_;
};

class LocatorTest : public testing::Test {
 protected:
  void SetUp() override {
    CloudConnectorLocator::m_adagent = std::make_shared<Agent>(directory_);
    set(PN::VELKD_LEGACYZONE_MFA_ENABLED, "true");
    set(PN::VELKD_LEGACYZONE_MFA_CLOUDURL, "https://p.test");
    set(PN::CLOUD_REST_VERSION, "1.0");
    set(PN::CLOUD_CONNECTOR_TRUSTED, "DC=lab,DC=test");
    for (const char* host : {"10.1.1.1", "10.2.2.2"}) directory_.add(host, valid("Here"));
    directory_.add("far.test", valid("Far"));
    directory_.place.address = {.name = "eth0",
                                .address = ::inet_addr("10.2.2.9"),
                                .netmask = ::inet_addr("255.255.255.0")};
  }
  void TearDown() override { CloudConnectorLocator::m_adagent.reset(); }
  static void set(const Property& property, const std::string& value) {
    Props().set(property.key, value);
  }
  static std::vector<std::string> valid(const std::string& site) {
    return {"core.cloudurl:https://p.test/", "mobile.proxySysId:T1", "mobile.proxySite:" + site};
  }
  // All connectors, from first to last.
  static std::vector<std::string> drain(CloudConnectorLocator& locator) {
    std::vector<std::string> all;
    for (std::string next; !(next = locator.getCloudConnector()).empty();) {
      all.push_back(next);
      locator.connectorFailed(next);
    }
    return all;
  }

  Directory directory_;
  ScratchDirectory kset_;
};

TEST_F(LocatorTest, RefreshOrdersDiscardsAndStores) {
  CloudConnectorLocator locator(kset_.path());
  LogTexts log;
  EXPECT_EQ(locator.getCloudConnector(), "");
  EXPECT_THAT(log.take(), ElementsAre("getCloudConnector: no valid connectors in try list"));
  directory_.add("near.test", valid("Near"));
  EXPECT_TRUE(locator.UpdateCloudConnectors());
  EXPECT_THAT(log.take(), Contains("Refresh cloud connectors info done"));
  EXPECT_EQ(locator.platformUrl(), "https://p.test/");
  EXPECT_THAT(drain(locator),
              ElementsAre("10.2.2.2:8080", "10.1.1.1:8080", "near.test:8080", "far.test:8080"));
  EXPECT_THAT(log.take(),
              Contains("getCloudConnector: Can't get a valid cloud connector for this time"));
  set(PN::CLOUD_PROXY_SERVER, "ann:pw@proxy.test:81");
  set(PN::CLOUD_PROXY_AUTH_TYPE, "Basic");
  UpdateCloudHttpProxy();
  EXPECT_THAT(locator.dump(), HasSubstr("   Proxy server: proxy.test:81\n"
                                        "   Proxy authentication method: None\n"));
  set(PN::CLOUD_PROXY_SERVER, "");
  UpdateCloudHttpProxy();
  EXPECT_THAT(locator.dump(), HasSubstr("   Pellion Connectors discarded:\n"
                                        "      Pellion Connector: 10.2.2.2\n"));
  // The next refresh begins anew, and what it chose is there after a restart. One that many say has
  // failed costs no other one; nor does what is no connector.
  EXPECT_TRUE(locator.UpdateCloudConnectors());
  for (int i = 0; i < 8; ++i) {
    locator.connectorFailed("10.2.2.2:8080");
    (void)locator.getCloudConnector();
  }
  locator.connectorFailed("web.test:443");
  EXPECT_EQ(locator.getCloudConnector(), "10.1.1.1:8080");
  log.take();
  CloudConnectorLocator restarted(kset_.path());
  EXPECT_THAT(drain(restarted), ElementsAre("10.1.1.1:8080", "near.test:8080", "far.test:8080"));
  EXPECT_THAT(log.take(), testing::IsSupersetOf({"Get cloud connectors info from kset.",
                                                 "Getting preferred connector",
                                                 "Current cloud URL is : https://p.test",
                                                 "Current cloud connector is : 10.1.1.1"}));
}

TEST_F(LocatorTest, FailuresOfTheDirectoryLeaveTheListsAlone) {
  CloudConnectorLocator locator(kset_.path());
  ASSERT_TRUE(locator.UpdateCloudConnectors());
  LogTexts log;
  directory_.catalogDown = true;
  EXPECT_TRUE(locator.UpdateCloudConnectors());
  EXPECT_THAT(log.take(), testing::IsSupersetOf(
                              {"Failed to search cloud connectors in GC due to LDAP exception",
                               "Failed to search cloud connectors in GC, trying DC",
                               "Refresh cloud connectors info done"}));
  directory_.controllerDown = true;
  EXPECT_TRUE(locator.UpdateCloudConnectors());
  EXPECT_THAT(log.take(),
              testing::IsSupersetOf({"Failed to search cloud connectors in AD",
                                     "Failed to search cloud connectors.",
                                     "Fail to refresh Pellion Connector information: Failed to "
                                     "search Pellion Connectors in AD"}));
  directory_.healthy = directory_.connected = false;
  EXPECT_TRUE(locator.UpdateCloudConnectors());
  EXPECT_THAT(log.take(),
              ElementsAre("Connection healthy check failed.",
                          "velkd Disconnected, delaying UpdateConnector2ComputerObject..."));
  EXPECT_TRUE(locator.needsRefresh());
  EXPECT_EQ(locator.getCloudConnector(), "10.2.2.2:8080");
  CloudConnectorsRefresh task(locator);
  task.updateTimeout();
  EXPECT_EQ(task.getTimeout(), 60) << "and not after hours";
  directory_.healthy = true;
  directory_.place = {};
  locator.checkSite();
  EXPECT_EQ(locator.getCloudConnector(), "10.2.2.2:8080") << "no answer is no other site";
  directory_.controllerDown = false;
  CloudConnectorsSiteCheck(locator).run();
  EXPECT_FALSE(locator.needsRefresh()) << "a connected agent makes up for a search";
}

TEST_F(LocatorTest, InvalidOnesAreReportedOnce) {
  directory_.connectors.clear();
  directory_.add("a.test", {"core.cloudurl:https://p.test", "mobile.proxySite:Here"});
  directory_.add("b.test", {"core.cloudurl:https://q.test", "mobile.proxySysId:T2"});
  directory_.add("c.test", {"core.cloudurl:https://q.test", "mobile.proxySysId:T1"});
  const std::string none =
      "Can not locate any valid cloud connectors. None has correct settings. Please check your "
      "Pellion connectors for its registration and zone setttings through "
      "velkd.legacyzone.mfa.cloudurl and velkd.legacyzone.mfa.tenantid option.";
  const std::string two =
      "Found multiple tenantID settings in cloud connectors, they may serve 2 different Pellion "
      "Identify Platform instances('tenants'). You may encounter this issue if you re-registered "
      "the Pellion Connectors recently. Please check their registration and setttings.";
  const std::string report = "Pellion Agent will not use Pellion Connector ";
  CloudConnectorLocator locator(kset_.path());
  LogTexts log;
  locator.UpdateCloudConnectors();
  std::vector<std::string> texts = log.take();
  EXPECT_THAT(texts, testing::IsSupersetOf(
                         {report + "'a.test' to provide connectivity to Pellion Identity Platform "
                                   "URL 'https://p.test' because the value of keywords "
                                   "'pellion.mobile.proxySysId' are missing.",
                          two, none}));
  locator.UpdateCloudConnectors();
  texts = log.take();
  EXPECT_THAT(texts, Contains(none));
  EXPECT_THAT(texts, Not(Contains(StartsWith(report))));
}

TEST_F(LocatorTest, OnlyWhatLiesWhereAnAdministratorSaidIsUsed) {
  struct Row {
    const char* trusted;
    const char* zone;
    std::vector<std::string> used;
  };
  directory_.zone = ADObject("CN=z");
  directory_.zone[AD_DISPLAY_NAME] = std::string("$OrvaldZone7");
  const std::string far = "CN=far.test,DC=lab,DC=test";
  const Row rows[] = {
      {"", "", {}},
      {"", "cn=FAR.test, DC=lab,DC=test", {"far.test:8080"}},
      {" ", "DC=evil,DC=test", {}},
      {"CN=10.1.1.1,DC=lab,DC=test ; no name;", far.c_str(), {"10.1.1.1:8080"}},
      {"no name", far.c_str(), {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.trusted) + "|" + row.zone);
    // Without an address of its own the zone would have the connector's for the platform.
    directory_.zone[AD_DESCRIPTION] = std::vector<std::string>{
        "OrvaldTenantId:T1", "OrvaldCloudConnectors:" + std::string(row.zone)};
    set(PN::CLOUD_CONNECTOR_TRUSTED, row.trusted);
    CloudConnectorLocator locator(kset_.path("new"));
    LogTexts log;
    locator.UpdateCloudConnectors();
    EXPECT_THAT(log.take(), Contains(StartsWith("Cloud connector '10.2.2.2' is not used: any "
                                                "computer may publish 'CN=proxy,CN=10.2.2.2,DC=")));
    EXPECT_EQ(locator.platformUrl(), row.used.empty() ? "" : "https://p.test/");
    EXPECT_EQ(drain(locator), row.used);
    EXPECT_THAT(locator.dump(),
                testing::ContainsRegex("invalid:\n(.*\n)* *Pellion Connector: 10.2.2.2\n"));
    // What was stored is trusted no longer than what is found.
    locator.UpdateCloudConnectors();
    EXPECT_THAT(log.take(), Not(Contains(HasSubstr("is not used")))) << "told once";
    EXPECT_EQ(CloudConnectorLocator(kset_.path("new")).getCloudConnector(),
              row.used.empty() ? "" : row.used[0]);
    set(PN::CLOUD_CONNECTOR_TRUSTED, "DC=other");
    EXPECT_EQ(CloudConnectorLocator(kset_.path("new")).getCloudConnector(), "");
  }
}

TEST_F(LocatorTest, ConfiguredConnectorIsTheOnlyOne) {
  struct Row {
    const char* configured;
    const char* chosen;
    const char* text;
  };
  directory_.add("one.test", valid("Far"));
  directory_.add("one.test", valid("Far"));
  std::rotate(directory_.connectors.begin(), directory_.connectors.end() - 2,
              directory_.connectors.end());
  const Row rows[] = {
      {"one.test", "one.test:8080", "Got multiple cloud connectors, will keep only the first one."},
      {"ONE.test:8080", "one.test:8080",
       "Set cloud connector from 'cloud.connector.override' as: "
       "one.test:8080"},
      {"one.test:81", "",
       "Got connector as 'one.test:8080', not as specified:'one.test:81', no correct connector for "
       "MFA now, please check and reset or unset cloud.connector.override."},
      {"one.test:x", "10.2.2.2:8080",
       "Cannot get the connector host name from the address: one.test:x, MFA may not work"},
      {":", "10.2.2.2:8080",
       "Invalid settting for 'cloud.connector.override', ignored to use real search result"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.configured);
    set(PN::CLOUD_CONNECTOR_OVERRIDE, row.configured);
    CloudConnectorLocator locator(kset_.path("new"));
    LogTexts log;
    locator.UpdateCloudConnectors();
    EXPECT_THAT(log.take(), Contains(row.text));
    EXPECT_EQ(locator.getCloudConnector(), row.chosen);
  }
  EXPECT_THAT(directory_.filters, Contains("GC (&(objectclass=serviceConnectionPoint)(cn=proxy)"
                                           "(keywords=*:net.tcp://one.test:*/OnPremRpc))"));
}

TEST_F(LocatorTest, ConfiguredNameOfSomethingElseLeavesNone) {
  CloudConnectorLocator locator(kset_.path());
  locator.UpdateCloudConnectors();
  set(PN::CLOUD_CONNECTOR_OVERRIDE, "far.test:8080");
  directory_.connectors = {ADObject("CN=proxy,CN=alien,DC=lab,DC=test")};
  directory_.connectors[0][AD_KEYWORDS] = std::vector<std::string>{"other:net.tcp://far.test:1/"};
  LogTexts log;
  locator.UpdateCloudConnectors();
  EXPECT_THAT(log.take(), Contains("Fail to refresh Pellion Connector information: Cloud connector "
                                   "'CN=proxy,CN=alien,DC=lab,DC=test' is not a Pellion "
                                   "Connector"));
  EXPECT_EQ(locator.getCloudConnector(), "");
  EXPECT_EQ(CloudConnectorLocator(kset_.path()).getCloudConnector(), "");
}

TEST_F(LocatorTest, TwoObjectsOfOneHostAreTriedOnce) {
  directory_.add("far.test", valid("Far"));
  CloudConnectorLocator locator(kset_.path());
  locator.UpdateCloudConnectors();
  EXPECT_THAT(drain(locator), ElementsAre("10.2.2.2:8080", "10.1.1.1:8080", "far.test:8080"));
}

TEST_F(LocatorTest, SearchOfOwnSiteAlone) {
  set(PN::CLOUD_CONNECTOR_LOCAL, "yes");
  directory_.place.site = "R(D";
  CloudConnectorLocator locator(kset_.path());
  LogTexts log;
  locator.UpdateCloudConnectors();
  EXPECT_THAT(log.take(), Contains("Searching cloud connectors located in current site R(D"));
  directory_.place.site.clear();
  locator.UpdateCloudConnectors();
  EXPECT_THAT(log.take(), Contains("Warning: Unable to determine Pellion Agent site, will search "
                                   "cloud connector in all sites."));
  const std::string start = "GC (&(objectclass=serviceConnectionPoint)(cn=proxy)";
  EXPECT_THAT(directory_.filters,
              ElementsAre(start + "(keywords=pellion.mobile.proxySite:R\\28D))", start + ")"));
}

TEST_F(LocatorTest, IwaAddressAndItsPrincipal) {
  std::vector<std::string> keywords = valid("Here");
  for (const char* more :
       {"core.iwa.enabled:true", "core.iwa.hostname:iwa.test", "core.iwa.httpsPort:8443"}) {
    keywords.emplace_back(more);
  }
  directory_.add("10.2.2.3", keywords);
  CloudConnectorLocator locator(kset_.path());
  LogTexts log;
  EXPECT_EQ(locator.getIwaUrl().url, "");
  EXPECT_THAT(log.take(), ElementsAre("getIwaUrl: IWA is not required"));
  locator.UpdateCloudConnectors();
  set(PN::CLOUD_REST_VERSION, "1.0S");
  EXPECT_EQ(locator.getIwaUrl().url, "") << "chosen before, and without a site check";
  locator.UpdateCloudConnectors();
  const IwaAddress iwa = locator.getIwaUrl();
  EXPECT_EQ(iwa.url, "https://iwa.test:8443/");
  EXPECT_EQ(iwa.principal, "HTTP/iwa.test@LAB.TEST");
  log.take();
  EXPECT_EQ(locator.GetSPNFromIwaURL("https://w*b.test/"), "HTTP/w*b.test@LAB.TEST");
  EXPECT_THAT(log.take(),
              ElementsAre("GetSPNFromIwaURL searches with filter "
                          "'(objectCategory=computer)(dNSHostName=w\\2ab.test)'",
                          "GetSPNFromIwaURL: more than 1 computer objects(4) are found. Will use "
                          "the first one"));
  directory_.computers.clear();
  EXPECT_EQ(locator.GetSPNFromIwaURL("https://w*b.test/"), "HTTP/w*b.test@LAB.TEST") << "is known";
  EXPECT_EQ(locator.GetSPNFromIwaURL("https://web.test/"), "");
  EXPECT_EQ(locator.GetSPNFromIwaURL("https://"), "");
  EXPECT_THAT(
      log.take(),
      testing::IsSupersetOf({"GetSPNFromIwaURL failed: can't find any computer objects",
                             "GetSPNFromIwaURL failed: retrieve empty FQDN from url = https://"}));
}

TEST_F(LocatorTest, TaskEndsWithIntervalZeroAndStaysWithoutMfa) {
  CloudConnectorLocator locator(kset_.path());
  CloudConnectorsRefresh task(locator);
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
  CloudConnectorLocator locator(kset_.path());
  locator.UpdateCloudConnectors();
  locator.connectorFailed(locator.getCloudConnector());
  directory_.filters.clear();
  locator.checkSite();
  EXPECT_EQ(locator.getCloudConnector(), "10.1.1.1:8080");
  directory_.place.site = "Far";
  directory_.place.address.reset();
  locator.checkSite();
  EXPECT_THAT(drain(locator), ElementsAre("far.test:8080", "10.1.1.1:8080"));
  EXPECT_THAT(directory_.filters, ElementsAre());
}

TEST_F(LocatorTest, RefreshAskedForDuringARefreshIsMade) {
  CloudConnectorLocator locator(kset_.path());
  const auto queue = RunQueue::getRunQueue("refreshes", true, 1);
  std::promise<void> second;
  int opens = 0;
  directory_.onOpen = [&] {
    if (++opens == 1) queue->queue(std::make_shared<CloudConnectorsRefresh>(locator));
    if (opens == 2) second.set_value();
  };
  queue->queue(std::make_shared<CloudConnectorsRefresh>(locator));
  EXPECT_EQ(second.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_TRUE(RunQueue::shutdown(std::chrono::seconds(10)));
}

// For the thread sanitizer: nothing but a data race makes this fail.
TEST_F(LocatorTest, CallersGoOnWhileItRefreshes) {
  CloudConnectorLocator locator(kset_.path());
  std::atomic<bool> ended = false;
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&locator, &ended] {
      while (!ended) {
        locator.connectorFailed(locator.getCloudConnector());
        (void)locator.platformUrl();
        (void)locator.dump();
      }
    });
  }
  for (int i = 0; i < 20; ++i) locator.UpdateCloudConnectors();
  ended = true;
  for (std::thread& caller : callers) caller.join();
  locator.UpdateCloudConnectors();
  EXPECT_EQ(locator.getCloudConnector(), "10.2.2.2:8080");
}

TEST(CloudConnectorLocatorInstance, NeedsADirectoryAgent) {
  CloudConnectorLocator::m_adagent.reset();
  EXPECT_THAT([] { (void)CloudConnectorLocator::getInstance(); },
              testing::ThrowsMessage<CloudConnectorException>("Can not get ADAgent"));
}

}  // namespace
}  // namespace tolk
