#include "tolk/net/discovery.h"

#include <ares.h>
#include <gtest/gtest.h>

#include "tests/unit/tolk/net/discovery_scene.h"

namespace tolk {
namespace {

constexpr const char* kNearRecord = "_ldap._tcp.Near._sites.dc._msdcs.lab.test";

DiscoveryRequest labRequest() {
  DiscoveryRequest request;
  request.domain = "lab.test";
  return request;
}

TEST_F(DiscoveryScene, SilentControllersDoNotHoldUpTheLiveOne) {
  std::vector<std::string> names;
  for (int i = 100; i < 300; ++i) names.push_back("a" + std::to_string(i));
  std::vector<Controller> controllers;
  for (const std::string& name : names) {
    controllers.push_back({.name = name.c_str(), .udp = Udp::silent});
  }
  controllers.push_back({.name = "live"});
  setUp(controllers);
  const auto started = EventLoop::Clock::now();
  EXPECT_EQ(find(labRequest()), "live.lab.test");
  EXPECT_LT(EventLoop::Clock::now() - started, std::chrono::milliseconds(1300));
}

TEST_F(DiscoveryScene, AnAnswerFromAfarWaitsForAControllerOfSeveralSites) {
  setUp({{.name = "far",
          .says = inSite("Far"),
          .records = {"_ldap._tcp.far._sites.dc._msdcs.lab.test"}},
         {.name = "near",
          .udp = Udp::answersLate,
          .records = {"_ldap._tcp.far._sites.dc._msdcs.lab.test", kNearRecord}}});
  DiscoveryRequest request = labRequest();
  request.preferredSite = "Far";
  EXPECT_EQ(find(request), "near.lab.test");
}

TEST_F(DiscoveryScene, AWorsePriorityIsNotAskedWhereABetterOneAnswers) {
  setUp({{.name = "a-spare", .priority = 10}, {.name = "b-main"}});
  EXPECT_EQ(find(labRequest()), "b-main.lab.test");
  EXPECT_EQ(pings_, 1);
}

struct Row {
  const char* what;
  std::vector<Controller> controllers;
  std::string found;
  ServiceType::Enum type = ServiceType::domainController;
  bool writable = false;
  std::string site = {};
};

class DiscoveryRows : public DiscoveryScene {
 protected:
  void check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.what);
      // c-ares from 1.21 on asks for no names but those of hosts.
      if (ARES_VERSION >= 0x011500 && row.site.find('\\') != std::string::npos) continue;
      zone_.clear();
      setUp(row.controllers);
      DiscoveryRequest request = labRequest();
      request.type = row.type;
      request.writable = row.writable;
      request.site = row.site;
      EXPECT_EQ(find(request), row.found);
      server_.reset();
    }
  }
};

TEST_F(DiscoveryRows, TheRightControllerWins) {
  check({
      {"one of the client's site, known only by the site's records",
       {{.name = "far", .says = inSite("Far")},
        {.name = "near", .says = inSite("Near"), .records = {kNearRecord}}},
       "near.lab.test"},
      {"of another site, where the client's has no records",
       {{.name = "far", .says = inSite("Far")}},
       "far.lab.test"},
      {"of another site, where the client's own are dead",
       {{.name = "far", .says = inSite("Far")},
        {.name = "near", .udp = Udp::silent, .records = {kNearRecord}}},
       "far.lab.test"},
      {"any, where the client is in no site",
       {{.name = "far", .says = inSite("Far", "")}},
       "far.lab.test"},
      {"one that says that it is the closest",
       {{.name = "far", .says = inSite("Far", "Near", 0x13fd)}},
       "far.lab.test"},
      {"of the site asked for",
       {{.name = "far", .says = inSite("Far", "Far")},
        {.name = "near", .says = inSite("Near", "Far"), .records = {kNearRecord}}},
       "near.lab.test",
       ServiceType::domainController,
       false,
       "Near"},
      {"a global catalog",
       {{.name = "plain", .says = inSite("Near", "Near", 0x1378)}, {.name = "gc"}},
       "gc.lab.test",
       ServiceType::globalCatalog},
      {"a writable one",
       {{.name = "rodc", .says = inSite("Near", "Near", 0xafc)}, {.name = "full"}},
       "full.lab.test",
       ServiceType::domainController,
       true},
      {"a key distribution center",
       {{.name = "nokdc", .says = inSite("Near", "Near", 0x13dd)}, {.name = "kdc"}},
       "kdc.lab.test",
       ServiceType::kdc},
      {"the worse priority, where the better ones are closed",
       {{.name = "a-spare", .priority = 10}, {.name = "b-main", .udp = Udp::closed}},
       "a-spare.lab.test"},
      {"one that holds the domain",
       {{.name = "foreign", .says = inDomain("other.test")}, {.name = "own", .priority = 10}},
       "own.lab.test"},
      {"of a site with a backslash in its name",
       {{.name = "own", .records = {R"(_ldap._tcp.A\B._sites.dc._msdcs.lab.test)"}}},
       "own.lab.test",
       ServiceType::domainController,
       false,
       R"(A\B)"},
      {"by the plain record, where the site's name is too long for DNS",
       {{.name = "own", .records = {"_ldap._tcp.lab.test"}}},
       "own.lab.test",
       ServiceType::domainController,
       false,
       std::string(64, 's')},
      {"one that has an address",
       {{.name = "lost", .resolvable = false}, {.name = "own"}},
       "own.lab.test"},
      {"by the plain record alone",
       {{.name = "own", .records = {"_ldap._tcp.lab.test"}}},
       "own.lab.test"},
      {"one that answers over TCP, where only that gets through",
       {{.name = "mute", .udp = Udp::closed, .tcp = Tcp::mute},
        {.name = "tcp", .udp = Udp::closed, .tcp = Tcp::answers}},
       "tcp.lab.test"},
      {"one whose port accepts connections, although it is far",
       {{.name = "far", .says = inSite("Far")}, {.name = "near", .tcp = Tcp::closed}},
       "far.lab.test"},
      {"one whose port is closed, where there is no other",
       {{.name = "near", .tcp = Tcp::closed}},
       "near.lab.test"},
  });
  Props().set(PN::NET_DISCOVERY_TIMEOUT, "0.4");
  check({
      {"unverified, where TCP gets through and nothing answers",
       {{.name = "closed", .udp = Udp::closed},
        {.name = "tcp", .udp = Udp::closed, .tcp = Tcp::mute}},
       "tcp.lab.test (unverified)"},
      {"verified at its second address, where the first is dead",
       {{.name = "two", .udp = Udp::closed}, {.name = "two", .records = {}}},
       "two.lab.test"},
      {"at its second address over TCP, where pings are lost",
       {{.name = "two", .udp = Udp::silent},
        {.name = "two", .udp = Udp::silent, .records = {}, .tcp = Tcp::answers}},
       "two.lab.test"},
  });
}

TEST_F(DiscoveryRows, EveryFailureNamesItsReason) {
  check({
      {"no records", {}, "DNS has no controller of lab.test"},
      {"no addresses",
       {{.name = "lost", .resolvable = false}, {.name = "gone", .resolvable = false}},
       "no controller of lab.test has an address (2 tried: gone.lab.test, lost.lab.test)"},
      {"closed ports, which no limit has ended",
       {{.name = "closed", .udp = Udp::closed}},
       "no controller of lab.test can be reached (1 tried: closed.lab.test (127.0.1.3:389: "
       "Connection refused))"},
      {"a role that none has",
       {{.name = "plain", .says = inSite("Near", "Near", 0x1378)},
        {.name = "closed", .udp = Udp::closed}},
       "no controller of lab.test has the wanted role (1 answered, 2 tried: closed.lab.test "
       "(127.0.1.5:389: Connection refused), plain.lab.test (127.0.1.4))",
       ServiceType::globalCatalog},
  });
  Props().set(PN::NET_DISCOVERY_TIMEOUT, "0.3");
  check({{"silence",
          {{.name = "a", .udp = Udp::silent}, {.name = "b", .udp = Udp::silent}},
          "no controller of lab.test answered within 0.3 s (2 tried: a.lab.test (127.0.1.6:389: "
          "Connection refused), b.lab.test (127.0.1.7:389: Connection refused); "
          "net.discovery.timeout)"}});
}

TEST_F(DiscoveryScene, UnansweredPingsLeadToTcpBeforeTheLimitAndTheNextTimeAtOnce) {
  Props().set(PN::NET_DISCOVERY_TIMEOUT, "1");
  setUp({{.name = "a", .udp = Udp::silent},
         {.name = "b", .udp = Udp::silent, .says = inSite("Near"), .tcp = Tcp::answers}});
  const auto started = EventLoop::Clock::now();
  EXPECT_EQ(find(labRequest()), "b.lab.test");
  const auto first = EventLoop::Clock::now();
  EXPECT_EQ(askController("b.lab.test").clientSite, "Near");
  const auto second = EventLoop::Clock::now();
  EXPECT_GE(first - started, std::chrono::milliseconds(500));
  EXPECT_LT(second - first, std::chrono::milliseconds(450));
}

TEST_F(DiscoveryScene, ADeadResolverLeavesTheConfiguration) {
  setUp({{.name = "dc1", .records = {}}});
  zone_.misbehave(kDomainRecord, test::DnsZone::kRefused);
  EXPECT_EQ(find(labRequest()),
            "DNS has no answer for _ldap._tcp.dc._msdcs.lab.test: 127.0.0.1 answered REFUSED");
  Props().set("dns.dc.lab.test", "127.0.1.1");
  EXPECT_EQ(find(labRequest()), "127.0.1.1");
  Props().set("dns.dc.lab.test", "");
}

}  // namespace
}  // namespace tolk
