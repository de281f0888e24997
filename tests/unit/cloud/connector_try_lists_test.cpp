// The order of choice, and what happens when the connectors fail one after the other.
#include "cloud/connectors/connector_try_lists.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cloud/connectors/connector_subnets.h"
#include "tests/unit/cloud/log_texts.h"
#include "tolk/ldap/site_links.h"

namespace tolk {
namespace {

using test::LogTexts;
using testing::ElementsAre;
using List = ConnectorList;

CloudConnector at(const std::string& host, const std::string& site) {
  CloudConnector connector;
  connector.fqdn = host;
  connector.site = site;
  return connector;
}

TEST(ConnectorTryLists, ResetAfterResetGoesFromNearToFar) {
  ConnectorTryLists lists;
  for (const char* host : {"other", "here", "unknown"}) {
    lists.insertIntoTryList(at(host, "home"), "Home", "near", true);
  }
  lists.insertIntoTryList(at("far", "far"), "Home", "near", true);
  lists.insertIntoTryList(at("near1", "near"), "Home", "near", true);
  lists.insertIntoTryList(at("near2", "near"), "Home", "near", true);
  lists.insertIntoTryList(at("off", "home"), "Home", "near", false);
  lists.moveToSubnet("here", true);
  lists.moveToSubnet("other", false);
  EXPECT_EQ(lists.placeOf("other"), List::otherSubnet);
  EXPECT_EQ(lists.placeOf("off"), std::nullopt);

  LogTexts log;
  const auto tried = [](const std::string& host, const std::string& list) {
    return "Connector(host DC FQDN=" + host + ") in " + list + " will be tried.";
  };
  const std::string leftSite = "All connectors in current site are tried yet found none available.";
  const std::string dropOther = "Discard current connector from the other site list";
  while (lists.selectCurrentCloudConnector()) lists.resetCurrentCloudConnector();
  EXPECT_THAT(
      log.take(),
      ElementsAre(tried("here", "current site same subnet"),
                  "Discard current connector from the same site same subnet list",
                  tried("other", "current site different subnet"),
                  "Discard current connector from the same site other subnet list",
                  tried("unknown", "current site"),
                  "Discard current connector from the same site list", leftSite,
                  tried("near2", "other site"), dropOther, leftSite, tried("near1", "other site"),
                  dropOther, leftSite, tried("far", "other site"), dropOther,
                  "No connector will be available until next refresh.", leftSite,
                  "All connectors are tried yet found none available."));
  EXPECT_THAT(lists.list(List::discarded),
              ElementsAre("here", "other", "unknown", "near2", "near1", "far"));
  EXPECT_THAT(lists.list(List::unavailable), ElementsAre("off"));
  lists.resetCurrentCloudConnector();
  EXPECT_THAT(log.take(), ElementsAre());
}

TEST(ConnectorTryLists, AnotherSiteSortsWhatIsLeft) {
  const std::vector<CloudConnector> all{at("a", "one"), at("b", "two"), at("c", "three"),
                                        at("d", "one")};
  ConnectorTryLists lists;
  for (const CloudConnector& connector : all) lists.insertIntoTryList(connector, "one", "", true);
  ASSERT_TRUE(lists.selectCurrentCloudConnector());
  lists.resetCurrentCloudConnector();  // a
  lists.moveToSubnet("d", true);
  ASSERT_TRUE(lists.selectCurrentCloudConnector());
  LogTexts log;
  lists.rebuildTryList(all, "two", "one");
  EXPECT_THAT(log.take(), ElementsAre("rebuildTryList: site: two nextClosestSite: one",
                                      "rebuildTryList: no need to insert a into try list",
                                      "rebuildTryList: insert b into site try list",
                                      "rebuildTryList: insert c into other site try list tail",
                                      "rebuildTryList: insert d into other site try list head"));
  EXPECT_EQ(lists.current(), "");
  EXPECT_THAT(lists.list(List::otherSites), ElementsAre("d", "c"));
  EXPECT_THAT(lists.list(List::discarded), ElementsAre("a"));
  lists.discard("c");
  lists.discard("nowhere");
  EXPECT_THAT(lists.list(List::discarded), ElementsAre("a", "c"));
}

in_addr address(const char* text) {
  in_addr binary{};
  EXPECT_EQ(::inet_aton(text, &binary), 1) << text;
  return binary;
}

TEST(ConnectorSubnets, MaskDecidesAndTheRestStays) {
  ConnectorTryLists lists;
  for (const char* host : {"same", "edge", "two", "bad", "lost"}) {
    lists.insertIntoTryList(at(host, "s"), "s", "", true);
  }
  const ConnectorAddresses addresses{{"same", {address("10.0.0.62")}},
                                     {"edge", {address("10.0.0.64")}},
                                     {"two", {address("192.168.1.1"), address("10.0.0.5")}},
                                     {"bad", {address("224.0.0.1")}}};
  LogTexts log;
  insertIntoTryListBySubnets(lists, addresses,
                             {.name = "eth0",
                              .address = address("10.0.0.1").s_addr,
                              .netmask = address("255.255.255.192").s_addr});
  EXPECT_THAT(lists.list(List::sameSubnet), ElementsAre("same", "two"));
  EXPECT_THAT(lists.list(List::otherSubnet), ElementsAre("edge"));
  EXPECT_THAT(lists.list(List::site), ElementsAre("bad", "lost"));
  const std::string same = ") into same subnet(mask:255.255.255.192) list";
  EXPECT_THAT(
      log.take(),
      ElementsAre(
          "Inserted cloud connector (IP:10.0.0.62" + same,
          "Inserted cloud connector (IP:10.0.0.64) into different subnet(mask:"
          "255.255.255.192) list",
          "Inserted cloud connector (IP:10.0.0.5" + same,
          "Bad connector IP address 224.0.0.1, will not save into subnet try list",
          "Number of all cloud connectors from site try list: 5, number of those were "
          "saved into subnet try list: 3",
          "Cloud connector 'bad' (IP:224.0.0.1) from site try list is not saved into subnet "
          "try list",
          "Cloud connector 'lost' (IP:) from site try list is not saved into subnet try "
          "list"));
}

TEST(ConnectorSubnets, LookupsThatCannotBeMadeAreRecorded) {
  CloudConnector nameless = at("", "s");
  nameless.dn = "CN=proxy";
  LogTexts log;
  const ConnectorAddresses addresses =
      resolveConnectors({"gone", "CN=proxy", "127.0.0.9"}, {nameless, at("127.0.0.9", "s")});
  EXPECT_THAT(addresses, testing::SizeIs(1));
  EXPECT_THAT(
      log.take(),
      ElementsAre("Can't fetch cloud connector object gone, will not save into subnet try list",
                  "Invalid cloud connector object CN=proxy, found no tolkCloudWebProxy data, "
                  "will not save into subnet try list",
                  "Resolving cloud connector hostname 127.0.0.9"));
}

TEST(SiteLinks, LeastCostThenNameDecides) {
  const std::vector<SiteLink> links{{.cost = 100, .sites = {"home", "b", "c"}},
                                    {.cost = 10, .sites = {"x", "y"}},
                                    {.cost = 50, .sites = {"z", "HOME", "d"}}};
  EXPECT_EQ(nextClosestSite(links, "Home"), "d");
  EXPECT_EQ(nextClosestSite(links, "y"), "x");
  EXPECT_EQ(nextClosestSite(links, "alone"), "");
}

}  // namespace
}  // namespace tolk
