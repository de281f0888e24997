// Keywords, validation, addresses, the stored text and the shown one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cloud/connectors/connector_attributes.h"
#include "cloud/connectors/connector_checks.h"
#include "cloud/connectors/connector_dump.h"
#include "cloud/connectors/connector_kset.h"
#include "cloud/connectors/iwa_principal.h"
#include "cloud/http/url_text.h"
#include "tests/unit/cloud/log_texts.h"
#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {
namespace {

using test::LogTexts;
using testing::ElementsAre;

const ZonePlatform kPlatform{
    .mfaEnabled = true, .hierarchical = true, .url = "https://p.test", .tenantId = "T1"};

ADObject connectorObject(std::vector<std::string> keywords) {
  fillTolkAttributeMap();
  ADObject object("CN=proxy,CN=A\\,B,OU=X,DC=lab,DC=test");
  object[AD_KEYWORDS] = std::move(keywords);
  object[AD_OBJECT_GUID] = std::string("0123456789abcdef");
  return object;
}

ADObject hostObject(const std::string& name) {
  ADObject host("CN=A\\,B,OU=X,DC=lab,DC=test");
  host[AD_DNS_HOST_NAME] = name;
  return host;
}

TEST(ConnectorAttributes, KeywordsBecomeAttributesAndTheHostTheAddress) {
  LogTexts log;
  ADObject object = connectorObject({"PELLION.core.cloudurl:https://p.test:443/", "strange:x",
                                     "pellion.core.webproxy.port:3128", "no colon"});
  EXPECT_TRUE(loadAttributes(object, hostObject("Conn.Lab.Test.")));
  const CloudConnector connector = readConnector(object);
  EXPECT_EQ(connector.url, "https://p.test:443/");
  EXPECT_EQ(connector.name, "A,B");
  EXPECT_EQ(connector.address, "conn.lab.test:3128");
  EXPECT_EQ(connector.key(), "conn.lab.test");
  EXPECT_THAT(log.take(),
              ElementsAre("loadAttributes: keyname = 'PELLION.core.cloudurl', orvName = "
                          "'tolkCloudUrl', orvValue = 'https://p.test:443/'",
                          "loadAttributes: unexpected keyword 'strange'",
                          "loadAttributes: keyname = 'pellion.core.webproxy.port', orvName = "
                          "'tolkCloudConnectorPort', orvValue = '3128'",
                          "loadAttributes: unexpected keyword 'no colon'",
                          "got FQDN from parent object: conn.lab.test",
                          "loadAttributes: compose orvName = 'tolkCloudWebProxy', orvValue = "
                          "'conn.lab.test:3128'"));
}

TEST(ConnectorAttributes, WhatCannotBeReadIsRecorded) {
  LogTexts log;
  const std::string guid = "(GUID={33323130-3534-3736-3839-616263646566})";
  ADObject none;
  ADObject empty = connectorObject({});
  ADObject broken = connectorObject({"pellion.core.cloudurl:a\nb"});
  EXPECT_FALSE(loadAttributes(none, ADObject()));
  EXPECT_FALSE(loadAttributes(empty, ADObject()));
  EXPECT_FALSE(loadAttributes(broken, ADObject()));
  ADObject orphan = connectorObject({"pellion.core.cloudurl:u"});
  EXPECT_TRUE(loadAttributes(orphan, ADObject()));
  EXPECT_FALSE(connectorSanityCheck(readConnector(orphan), kPlatform));
  EXPECT_THAT(
      log.take(),
      ElementsAre("loadAttributes: connector object is null",
                  "loadAttributes: 'keywords' is empty for cloud connector object" + guid,
                  "loadAttributes: get cram attributes error for cloud connector object" + guid,
                  testing::_, "Failed to fetch DC object in AD",
                  "Invalid cloud connector SCP for cloudUrl: fqdn is empty"));
}

TEST(ConnectorChecks, ReasonsNameTheKeywords) {
  struct Row {
    std::vector<std::string> change;  // instead of the valid keywords of the same name
    const char* reason;
  };
  const std::string url = "pellion.core.cloudurl:";
  const std::string tenant = "pellion.mobile.proxySysId:";
  const Row rows[] = {
      {{url + "https://P.test/", tenant + "t1"}, ""},
      {{url, tenant + "T1"}, "the value of keywords 'pellion.core.cloudurl' are missing"},
      {{},
       "the value of keywords 'pellion.core.cloudurl and pellion.mobile.proxySysId' are missing"},
      {{url + "https://q.test", tenant + "T2"},
       "the value of keywords 'pellion.core.cloudurl and pellion.mobile.proxySysId' are incorrect"},
      {{url + "https://p.test", tenant + "T1", "pellion.core.webproxy.port:65536"},
       "the value of keywords 'pellion.core.webproxy.port' are incorrect"},
      {{url + "https://p.test", tenant + "T1", "pellion.core.webproxy:a b:80"},
       "the value of keywords 'pellion.core.webproxy' are incorrect"},
      // What is missing is named before what is wrong.
      {{url + "https://q.test"}, "the value of keywords 'pellion.mobile.proxySysId' are missing"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.change));
    ADObject object = connectorObject(row.change);
    if (row.change.empty()) object[AD_KEYWORDS] = std::string("pellion.mobile.proxyScp:x");
    ASSERT_TRUE(loadAttributes(object, hostObject("conn.lab.test")));
    EXPECT_EQ(invalidReason(readConnector(object), kPlatform), row.reason);
  }
}

TEST(ConnectorChecks, ServicesThatAreOffMakeUnavailable) {
  struct Row {
    std::vector<std::string> keywords;
    bool withIwa;
    bool available;
    unsigned services;
  };
  const std::vector<std::string> iwa{"pellion.core.webproxyenabled:1",
                                     "pellion.core.iwa.enabled:Yes", "pellion.core.iwa.hostname:h",
                                     "pellion.core.iwa.httpsPort:8443"};
  std::vector<std::string> plainHttp = iwa;
  plainHttp.emplace_back("pellion.core.iwa.useHttps:false");
  const Row rows[] = {
      {{"pellion.core.webproxyenabled:true"}, false, true, 1},
      {{"pellion.core.webproxyenabled:true"}, true, false, 1},
      {{"pellion.core.webproxyenabled:off"}, false, false, 0},
      {{"pellion.core.iwa.enabled:true"}, false, false, 0},
      {iwa, true, true, 3},
      {plainHttp, true, false, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.keywords));
    ADObject object = connectorObject(row.keywords);
    ASSERT_TRUE(loadAttributes(object, hostObject("conn.lab.test")));
    const CloudConnector connector = readConnector(object);
    EXPECT_EQ(connector.services, row.services);
    EXPECT_EQ(isAvailableConnector(connector, row.withIwa), row.available);
  }
}

TEST(ConnectorChecks, OnlyHierarchicalZonesNameTheirPlatform) {
  struct Row {
    const char* marker;
    bool hierarchical;
  };
  for (const auto& [marker, hierarchical] :
       {Row{"$OrvaldZone6", true}, Row{"$OrvaldZone12", true}, Row{"$OrvaldZone5", false},
        Row{"$OrvaldZone7x", false}, Row{"$OrvaldZone", false}}) {
    SCOPED_TRACE(marker);
    ADObject zone("CN=z");
    zone[AD_DISPLAY_NAME] = std::string(marker);
    zone[AD_DESCRIPTION] = std::vector<std::string>{"OrvaldCloudUrl:https://z.test", "a note"};
    const ZonePlatform platform = readZonePlatform(zone);
    EXPECT_EQ(platform.hierarchical, hierarchical);
    EXPECT_EQ(platform.url, hierarchical ? "https://z.test" : "");
    EXPECT_EQ(platform.mfaEnabled, hierarchical);
  }
}

TEST(ConnectorAddressText, HostAndPort) {
  const std::pair<const char*, const char*> rows[] = {{"Conn.lab.test:3128", "conn.lab.test 3128"},
                                                      {"conn", "conn 8080"},
                                                      {"10.1.2.3:1", "10.1.2.3 1"},
                                                      {"conn:", " "},
                                                      {"conn:0", " "},
                                                      {"conn:1:2", " "},
                                                      {":80", " "},
                                                      {"", " "},
                                                      {"a/b:80", " "}};
  for (const auto& [text, expected] : rows) {
    const ConnectorAddress parts = splitAddress(text);
    EXPECT_EQ(parts.host + " " + parts.port, expected) << text;
  }
}

TEST(IwaPrincipal, HostOfUrlAndRealmOfName) {
  const std::pair<const char*, const char*> rows[] = {
      {"https://IWA.lab.test:8443/", "iwa.lab.test"},
      {"https://u:p@h/x", "h"},
      {"h?x", "h"},
      {"https:///x", ""},
      {"", ""}};
  for (const auto& [url, host] : rows) EXPECT_EQ(hostOfUrl(url), host) << url;
  EXPECT_EQ(iwaPrincipal("h", "CN=proxy,CN=H,DC=lab,DC=test"), "HTTP/h@LAB.TEST");
  EXPECT_THROW(static_cast<void>(iwaPrincipal("h", "CN=proxy")), SystemException);
}

CloudConnector stored(const std::string& host) {
  return {.dn = "CN=proxy,CN=H1,DC=lab,DC=test",
          .name = "H1",
          .fqdn = host,
          .address = host + ":3128",
          .port = "3128",
          .site = "Paris",
          .url = "https://p.test",
          .tenantId = "T1",
          .iwaHost = "iwa",
          .iwaHttpPort = "",
          .iwaHttpsPort = "8443",
          .services = 3};
}

TEST(ConnectorKset, ReadsBackWhatItHolds) {
  LogTexts log;
  StoredConnectors connectors{.platformUrl = "https://p.test",
                              .tenantId = "T1",
                              .connectorPlace = "OU=X",
                              .connectors = {}};
  connectors.connectors.push_back(
      {.connector = stored("b.test"), .list = ConnectorList::otherSubnet});
  connectors.connectors.push_back({.connector = stored("a.test"), .list = ConnectorList::site});
  connectors.connectors.back().connector.site = "no|site";
  connectors.connectors.push_back({.connector = stored("c.test")});
  connectors.connectors.back().connector.iwaHost = "two\nlines";
  connectors.connectors.push_back({.connector = stored("d.test")});
  connectors.connectors.back().connector.site = std::string(std::size_t{1} << 20U, 'x');
  const std::string text = ksetText(connectors, false);
  EXPECT_EQ(text,
            "https://p.test|T1|b.test|Paris|3128|othersubnet|b.test|iwa||8443|3|"
            "CN=proxy,CN=H1,DC=lab,DC=test|OU=X\n");
  EXPECT_THAT(log.take(),
              ElementsAre("Can't write connector(a.test) of current site into kset file.",
                          "Can't write connector(c.test) of other sites into kset file.",
                          "Can't write connector(d.test) of other sites into kset file."));
  const StoredConnectors back = parseKset(text + "half|a line\n\n||||||||||||\n");
  ASSERT_EQ(back.connectors.size(), 1U);
  EXPECT_EQ(back.connectors.front().list, ConnectorList::otherSubnet);
  EXPECT_EQ(back.connectorPlace, "OU=X");
  EXPECT_EQ(ksetText(back, false), text);
  connectors.connectors.clear();
  EXPECT_EQ(ksetText(connectors, false), "");
  EXPECT_EQ(ksetText(connectors, true), "https://p.test|T1|||||||||||\n");
}

TEST(ConnectorDump, WholeText) {
  ConnectorDumpFacts facts;
  facts.zoneUrl = "https://p.test";
  facts.urls = {"https://q.test", "https://p.test"};
  facts.invalid = {stored("evil\x1b.test")};
  EXPECT_EQ(connectorDump(facts),
            R"(==============Pellion Identity Platform Instances/Pellion Connectors info============
Pellion Identity Platform Instances:
   Pellion Identity Platform Instance connected: 
   Pellion Identity Platform Instance URL in zone: https://p.test
   Pellion Identity Platform Instance ID in zone: 
   Pellion Identity Platform Instances URLs: https://p.test, https://q.test
   Pellion Identity Platform Instances IDs: 
Proxy to Pellion Identity Platform:
   Proxy server: None
   Proxy authentication method: None
Pellion Connectors:
   Current used connector: 
   Pellion Connectors in current site:
   Pellion Connectors in other site:
   Pellion Connectors discarded:
   Pellion Connectors invalid:
      Pellion Connector: H1
        Pellion Identity Platform URL: https://p.test
        Connector Site: Paris
        Connector FQDN: evil\x1B.test
        Pellion Identity Platform Instance ID: T1
        Connector port: 3128
        Connector IWA HTTP port: 
        Connector IWA HTTPS port: 8443
)");
}

}  // namespace
}  // namespace tolk
