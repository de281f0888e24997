// Which connectors a search of the directory comes to, and what is told about the others.
#include "cloud/http/http_proxy.h"
#include "tests/unit/cloud/locator_stage.h"

namespace tolk {
namespace {

using test::LocatorTest;
using test::LogTexts;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(LocatorTest, RefreshOrdersDiscardsAndStores) {
  LogTexts log;
  EXPECT_EQ(locator_.getCloudConnector(), "");
  EXPECT_THAT(log.take(), ElementsAre("getCloudConnector: no valid connectors in try list"));
  directory_.add("near.test", valid("Near"));
  EXPECT_TRUE(locator_.UpdateCloudConnectors());
  EXPECT_THAT(log.take(), Contains("Refresh cloud connectors info done"));
  EXPECT_EQ(locator_.platformUrl(), "https://p.test/");
  EXPECT_THAT(drain(locator_),
              ElementsAre("10.2.2.2:8080", "10.1.1.1:8080", "near.test:8080", "far.test:8080"));
  EXPECT_THAT(log.take(),
              Contains("getCloudConnector: Can't get a valid cloud connector for this time"));
  set(PN::CLOUD_PROXY_SERVER, "ann:pw@proxy.test:81");
  set(PN::CLOUD_PROXY_AUTH_TYPE, "Basic");
  UpdateCloudHttpProxy();
  EXPECT_THAT(locator_.dump(), HasSubstr("   Proxy server: proxy.test:81\n"
                                         "   Proxy authentication method: None\n"));
  set(PN::CLOUD_PROXY_SERVER, "");
  UpdateCloudHttpProxy();
  EXPECT_THAT(locator_.dump(), HasSubstr("   Pellion Connectors discarded:\n"
                                         "      Pellion Connector: 10.2.2.2\n"));
  // The next refresh begins anew, and what it chose is there after a restart. One that many say has
  // failed costs no other one; nor does what is no connector.
  EXPECT_TRUE(locator_.UpdateCloudConnectors());
  for (int i = 0; i < 8; ++i) {
    locator_.connectorFailed("10.2.2.2:8080");
    (void)locator_.getCloudConnector();
  }
  locator_.connectorFailed("web.test:443");
  EXPECT_EQ(locator_.getCloudConnector(), "10.1.1.1:8080");
  log.take();
  CloudConnectorLocator restarted(kset_.path());
  EXPECT_THAT(drain(restarted), ElementsAre("10.1.1.1:8080", "near.test:8080", "far.test:8080"));
  EXPECT_THAT(log.take(), testing::IsSupersetOf({"Get cloud connectors info from kset.",
                                                 "Getting preferred connector",
                                                 "Current cloud URL is : https://p.test",
                                                 "Current cloud connector is : 10.1.1.1"}));
}

TEST_F(LocatorTest, NoValidOneIsSaid) {
  directory_.connectors.clear();
  directory_.add("a.test", {"core.cloudurl:https://p.test", "mobile.proxySite:Here"});
  EXPECT_THAT(update(locator_),
              Contains("Can not locate any valid cloud connectors. None has correct settings. "
                       "Please check your Pellion connectors for its registration and zone "
                       "setttings through velkd.legacyzone.mfa.cloudurl and "
                       "velkd.legacyzone.mfa.tenantid option."));
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
    EXPECT_THAT(update(locator),
                Contains(StartsWith("Cloud connector '10.2.2.2' is not used: any "
                                    "computer may publish 'CN=proxy,CN=10.2.2.2,DC=")));
    EXPECT_EQ(locator.platformUrl(), row.used.empty() ? "" : "https://p.test/");
    EXPECT_EQ(drain(locator), row.used);
    EXPECT_THAT(locator.dump(),
                testing::ContainsRegex("invalid:\n(.*\n)* *Pellion Connector: 10.2.2.2\n"));
    // What was stored is trusted no longer than what is found.
    EXPECT_THAT(update(locator), Not(Contains(HasSubstr("is not used")))) << "told once";
    EXPECT_EQ(CloudConnectorLocator(kset_.path("new")).getCloudConnector(),
              row.used.empty() ? "" : row.used[0]);
    set(PN::CLOUD_CONNECTOR_TRUSTED, "DC=other");
    EXPECT_EQ(CloudConnectorLocator(kset_.path("new")).getCloudConnector(), "");
  }
}

TEST_F(LocatorTest, ConfiguredConnectorIsSearchedForByName) {
  directory_.connectors.clear();
  directory_.add("one.test", valid("Far"));
  set(PN::CLOUD_CONNECTOR_OVERRIDE, "ONE.test:8080");
  EXPECT_THAT(update(locator_),
              Contains("Set cloud connector from 'cloud.connector.override' as: one.test:8080"));
  EXPECT_EQ(locator_.getCloudConnector(), "one.test:8080");
  EXPECT_THAT(directory_.filters, ElementsAre("GC (&(objectclass=serviceConnectionPoint)(cn=proxy)"
                                              "(keywords=*:net.tcp://one.test:*/OnPremRpc))"));
  set(PN::CLOUD_CONNECTOR_OVERRIDE, "two.test:x");
  EXPECT_THAT(update(locator_), Contains("Cannot get the connector host name from the address: "
                                         "two.test:x, MFA may not work"));
  EXPECT_EQ(locator_.getCloudConnector(), "one.test:8080");
}

TEST_F(LocatorTest, TwoObjectsOfOneHostAreTriedOnce) {
  directory_.add("far.test", valid("Far"));
  locator_.UpdateCloudConnectors();
  EXPECT_THAT(drain(locator_), ElementsAre("10.2.2.2:8080", "10.1.1.1:8080", "far.test:8080"));
}

TEST_F(LocatorTest, SearchOfOwnSiteAlone) {
  set(PN::CLOUD_CONNECTOR_LOCAL, "yes");
  directory_.place.site = "R(D";
  EXPECT_THAT(update(locator_), Contains("Searching cloud connectors located in current site R(D"));
  directory_.place.site.clear();
  EXPECT_THAT(update(locator_),
              Contains("Warning: Unable to determine Pellion Agent site, will search "
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
  LogTexts log;
  EXPECT_EQ(locator_.getIwaUrl().url, "");
  EXPECT_THAT(log.take(), ElementsAre("getIwaUrl: IWA is not required"));
  locator_.UpdateCloudConnectors();
  set(PN::CLOUD_REST_VERSION, "1.0S");
  EXPECT_EQ(locator_.getIwaUrl().url, "") << "chosen before, and without a site check";
  locator_.UpdateCloudConnectors();
  const IwaAddress iwa = locator_.getIwaUrl();
  EXPECT_EQ(iwa.url, "https://iwa.test:8443/");
  EXPECT_EQ(iwa.principal, "HTTP/iwa.test@LAB.TEST");
  log.take();
  EXPECT_EQ(locator_.GetSPNFromIwaURL("https://w*b.test/"), "HTTP/w*b.test@LAB.TEST");
  EXPECT_THAT(log.take(),
              ElementsAre("GetSPNFromIwaURL searches with filter "
                          "'(objectCategory=computer)(dNSHostName=w\\2ab.test)'",
                          "GetSPNFromIwaURL: more than 1 computer objects(4) are found. Will use "
                          "the first one"));
  directory_.computers.clear();
  EXPECT_EQ(locator_.GetSPNFromIwaURL("https://w*b.test/"), "HTTP/w*b.test@LAB.TEST") << "is known";
  EXPECT_EQ(locator_.GetSPNFromIwaURL("https://web.test/"), "");
  EXPECT_EQ(locator_.GetSPNFromIwaURL("https://"), "");
  EXPECT_THAT(
      log.take(),
      testing::IsSupersetOf({"GetSPNFromIwaURL failed: can't find any computer objects",
                             "GetSPNFromIwaURL failed: retrieve empty FQDN from url = https://"}));
}

}  // namespace
}  // namespace tolk
