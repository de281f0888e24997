// What is remembered of controllers that were found, and what stands in for those that were not.
#include "tolk/net/network_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/tolk/net/discovery_scene.h"
#include "tolk/base/troubles.h"
#include "tolk/net/dns.h"
#include "tolk/net/interfaces.h"
#include "tolk/net/known_controllers.h"

namespace tolk {
namespace {

// What NetworkState remembers stays for the life of the process, so each run of a test has a domain
// and hosts of its own.
std::string newNumber() {
  static int runs = 0;
  return std::to_string(++runs);
}

TEST_F(DiscoveryScene, ResultsAreRememberedUntilRediscovery) {
  const std::string domain = "memory" + newNumber() + ".test";
  test::NetlogonFields says = inSite("Near", "Near", 0x13fd);
  says.domain = says.forest = domain;
  setUp({{.name = "dc1", .says = says, .records = {"_ldap._tcp.dc._msdcs." + domain}}});
  const auto find = [&domain](bool rediscover) {
    return NetworkState::getDCForDomain("M" + domain.substr(1) + ".", ServiceType::domainController,
                                        false, "", rediscover);
  };
  EXPECT_EQ(NetworkState::getDCForDomain("", ServiceType::domainController, false, "", true), "");
  EXPECT_EQ(find(false), "dc1.lab.test");
  EXPECT_EQ(find(false), "dc1.lab.test");
  EXPECT_EQ(NetworkState::getDCForDomain(domain, ServiceType::kdc, true, "", false),
            "dc1.lab.test");
  EXPECT_EQ(NetworkState::getSubnetSite(domain), "Near");
  EXPECT_EQ(NetworkState::getDCInfo("DC1.lab.test", false)->clientSite, "Near");
  EXPECT_EQ(pings_, 1);
  EXPECT_EQ(find(true), "dc1.lab.test");
  EXPECT_EQ(pings_, 2);
  const auto info = NetworkState::getDCInfo("DC1.lab.test", true);
  EXPECT_EQ(pings_, 3);
  EXPECT_TRUE(info->found);
  EXPECT_EQ(info->flags, 0);
  EXPECT_EQ(info->forest, domain);
  server_.reset();
  EXPECT_EQ(find(false), "dc1.lab.test");
  EXPECT_THROW(find(true), TOLKException);
  EXPECT_THROW(find(false), TOLKException);  // that there is none is remembered too
}

TEST(KnownControllers, AFailedSearchIsForgottenWithTime) {
  KnownControllers& known = KnownControllers::instance();
  DiscoveryRequest request;
  request.domain = "failed.test";
  known.remember(request, {.info = {}, .failure = "x"});
  EXPECT_TRUE(known.search(request));
  known.remember(request, {.info = {},
                           .failure = "x",
                           .since = KnownControllers::Clock::now() - std::chrono::minutes(2)});
  EXPECT_FALSE(known.search(request));
  known.rememberKdcs(request.domain, {});
  EXPECT_TRUE(known.kdcs(request.domain));
  known.remember(request, {.info = {}, .failure = ""});
  EXPECT_FALSE(known.kdcs(request.domain)) << "the realm has a controller again";
}

TEST_F(DiscoveryScene, AControllerThatFailedLeavesItsPlaceToTheNext) {
  test::NetlogonFields says = inSite("Near");
  const std::string number = newNumber();
  const std::string domain = "two" + number + ".test";
  const std::string main = "main" + number;
  const std::string spare = "spare" + number;
  says.domain = domain;
  const std::vector<std::string> records = {"_ldap._tcp.dc._msdcs." + domain};
  setUp({{.name = main.c_str(), .says = says, .records = records},
         {.name = spare.c_str(),
          .udp = Udp::silent,
          .says = says,
          .records = records,
          .priority = 10,
          .tcp = Tcp::answers}});
  const auto find = [&] {
    return NetworkState::getDCForDomain(domain, ServiceType::domainController, false, "", false);
  };
  EXPECT_EQ(find(), main + ".lab.test");
  takeTroubles();
  for (int times = 0; times < 2; ++times) {
    NetworkState::passOver(main + ".lab.test:389", ServiceType::domainController, "it is mute");
  }
  EXPECT_EQ(find(), spare + ".lab.test");
  EXPECT_EQ(takeTroubles(),
            std::vector<std::string>{main + ".lab.test is passed over: it is mute"});
  NetworkState::passOver(spare + ".lab.test", ServiceType::domainController, "it is mute too");
  EXPECT_EQ(find(), main + ".lab.test");
}

TEST_F(DiscoveryScene, TheJoinedDomainHasTheControllerOfTheJoinWhereNothingAnswers) {
  write("/var/orvald/kset.domain", "dead.test\n");
  write("/var/orvald/kset.hostname", "host1.dead.test\n");
  write("/var/orvald/kset.domaincontroller", "DC7.dead.test\n");
  setUp({});
  for (const char* name : {"_ldap._tcp.dc._msdcs.dead.test", "_ldap._tcp.dead.test"}) {
    zone_.misbehave(name, test::DnsZone::kRefused);
  }
  for (const bool rediscover : {false, true}) {
    EXPECT_EQ(NetworkState::getDCForDomain("dead.test", ServiceType::domainController, false, "",
                                           rediscover),
              "dc7.dead.test");
  }
  HostPortList list;
  EXPECT_THROW(FindSrv("_ldap._tcp.dead.test", list), DNSUnavailableException);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list.front().host, "dc7.dead.test");
}

TEST_F(DiscoveryScene, AServerThatDoesNotAnswerHasNoInformation) {
  setUp({{.name = "closed", .udp = Udp::closed}});
  for (const char* server : {"closed.lab.test", "absent.lab.test", ""}) {
    EXPECT_THROW(NetworkState::getDCInfo(server, true), TOLKException) << server;
  }
}

TEST_F(DiscoveryScene, TheRecordedSiteOfTheJoinedDomainIsAskedFirst) {
  write("/var/orvald/kset.domain", "joined.test\n");
  write("/var/orvald/kset.hostname", "host1.joined.test\n");
  write("/var/orvald/kset.site", "Near\n");
  write("/var/orvald/kset.domaincontroller", "dc7.joined.test\n");
  write("/var/orvald/kset.globalcatalog", "gc7.joined.test\n");
  test::NetlogonFields says = inSite("Near");
  says.domain = "joined.test";
  // Only the site's records name a controller; those of the domain are never answered.
  setUp({{.name = "near",
          .says = says,
          .records = {"_ldap._tcp.near._sites.dc._msdcs.joined.test"}}});
  zone_.misbehave("_ldap._tcp.dc._msdcs.joined.test", test::DnsZone::kSilent);
  EXPECT_EQ(NetworkState::getSubnetSite("joined.test"), "Near");
  const auto recorded = [](const char* domain, ServiceType::Enum type) {
    return NetworkState::getDCFromKset(domain, type, false, true);
  };
  EXPECT_EQ(recorded("JOINED.test", ServiceType::domainController), "dc7.joined.test");
  EXPECT_EQ(recorded("joined.test", ServiceType::globalCatalog), "gc7.joined.test");
  EXPECT_EQ(recorded("other.test", ServiceType::domainController), "");
}

TEST_F(DiscoveryScene, TheDiscoveredKdcComesFirstAndOnce) {
  test::NetlogonFields says = inDomain("realm.test");
  says.flags = 0x1378;  // no global catalog
  setUp({{.name = "live", .says = says, .records = {"_ldap._tcp.dc._msdcs.realm.test"}}});
  zone_.a("dead.lab.test", "127.0.1.99");
  zone_.srv("_kerberos._tcp.realm.test", 0, 200, 88, "dead.lab.test");
  zone_.srv("_kerberos._tcp.realm.test", 0, 100, 88, "live.lab.test");
  zone_.srv("_kerberos._tcp.realm.test", 5, 100, 1088, "dead.lab.test");
  std::vector<std::string> shown;
  for (const sockaddr_in& kdc : NetworkState::getKdcs("REALM.TEST")) {
    shown.push_back(InetNToA(kdc.sin_addr.s_addr) + ":" + std::to_string(ntohs(kdc.sin_port)));
  }
  EXPECT_THAT(shown, testing::ElementsAre("127.0.1.1:88", "127.0.1.99:88", "127.0.1.99:1088"));
  const auto find = [](ServiceType::Enum type) {
    return NetworkState::getDCForDomain("realm.test", type, false, "", false);
  };
  EXPECT_EQ(find(ServiceType::domainController), "live.lab.test");
  EXPECT_THROW(find(ServiceType::globalCatalog), TOLKException);
}

}  // namespace
}  // namespace tolk
