#include "tolk/net/discovery.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>

#include "tests/unit/tolk/net/cldap_messages.h"
#include "tests/unit/tolk/net/dns_zone.h"
#include "tests/unit/tolk/net/sandbox.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/dns.h"
#include "tolk/net/interfaces.h"
#include "tolk/net/known_controllers.h"
#include "tolk/net/netlogon.h"

namespace tolk {
namespace {

constexpr const char* kDomainRecord = "_ldap._tcp.dc._msdcs.lab.test";
constexpr const char* kNearRecord = "_ldap._tcp.Near._sites.dc._msdcs.lab.test";

enum class Udp { answers, answersLate, silent, closed };
enum class Tcp { asUdp, closed, mute, answers };

// One controller of the scene; its host is NAME.lab.test.
struct Controller {
  const char* name;
  Udp udp = Udp::answers;
  test::NetlogonFields says = {};
  std::vector<std::string> records = {kDomainRecord};
  std::uint16_t priority = 0;
  Tcp tcp = Tcp::asUdp;
  bool resolvable = true;
};

test::NetlogonFields inSite(const char* dcSite, const char* clientSite = "Near",
                            std::uint32_t flags = 0x137d) {
  test::NetlogonFields fields;
  fields.flags = flags;
  fields.dcSite = dcSite;
  fields.clientSite = clientSite;
  return fields;
}

test::NetlogonFields inDomain(const std::string& domain) {
  test::NetlogonFields fields;
  fields.domain = domain;
  return fields;
}

class DiscoveryScene : public test::Sandbox {
 protected:
  void SetUp() override {
    Sandbox::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    write("/etc/hosts", "");
    write("/var/orvald/kset.domain", "");
    // So long that a test which ends has not waited for them.
    Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "3600");
    Props().set(PN::NET_DISCOVERY_TIMEOUT, "3600");
  }

  void setUp(const std::vector<Controller>& controllers) {
    server_ = std::make_unique<test::LoopbackServer>();
    for (const Controller& controller : controllers) add(controller);
    zone_.serve(*server_);
    server_->start();
  }

  // The host that is found, or why none is.
  static std::string find(const DiscoveryRequest& request) {
    try {
      const DCInfo info = discoverController(request).info;
      return info.host + (info.flags == DCInfo::kUnverified ? " (unverified)" : "");
    } catch (const TOLKException& failure) {
      return failure.what();
    }
  }

  test::DnsZone zone_;
  std::unique_ptr<test::LoopbackServer> server_;
  std::atomic<int> pings_ = 0;

 private:
  void add(const Controller& controller) {
    const std::string address = "127.0.1." + std::to_string(++last_);
    const std::string host = std::string(controller.name) + ".lab.test";
    if (controller.resolvable) zone_.a(host, address);
    for (const std::string& record : controller.records) {
      zone_.srv(toLower(record), controller.priority, 100, 389, host);
    }
    if (controller.udp != Udp::closed) {
      server_->udp(
          [this, controller](const std::string& request) { return ping(controller, request); },
          address, 389);
    }
    const bool alive = controller.udp != Udp::closed && controller.udp != Udp::silent;
    if (controller.tcp == Tcp::closed || (controller.tcp == Tcp::asUdp && !alive)) return;
    const auto talk = [controller](const std::string& request) -> std::optional<std::string> {
      if (controller.tcp != Tcp::answers) return std::nullopt;
      return test::netlogonReply(request, controller.says);
    };
    for (const in_port_t port : std::array<in_port_t, 3>{389, 88, 3268}) {
      server_->tcp(talk, address, port);
    }
  }

  std::vector<std::string> ping(const Controller& controller, const std::string& request) {
    const int number = ++pings_;
    if (controller.udp == Udp::answersLate && number <= 2) return {};  // the first to each of two
    if (controller.udp == Udp::silent) return {};
    return {test::netlogonReply(request, controller.says)};
  }

  int last_ = 0;
};

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
      {"one that has an address",
       {{.name = "lost", .resolvable = false}, {.name = "own"}},
       "own.lab.test"},
      {"by the plain record alone",
       {{.name = "own", .records = {"_ldap._tcp.lab.test"}}},
       "own.lab.test"},
      {"unverified, where TCP gets through and nothing answers",
       {{.name = "closed", .udp = Udp::closed},
        {.name = "tcp", .udp = Udp::closed, .tcp = Tcp::mute}},
       "tcp.lab.test (unverified)"},
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
  Props().set(PN::NET_DISCOVERY_TIMEOUT, "2");
  setUp({{.name = "a", .udp = Udp::silent},
         {.name = "b", .udp = Udp::silent, .says = inSite("Near"), .tcp = Tcp::answers}});
  const auto started = EventLoop::Clock::now();
  EXPECT_EQ(find(labRequest()), "b.lab.test");
  const auto first = EventLoop::Clock::now();
  EXPECT_EQ(askController("b.lab.test").clientSite, "Near");
  const auto second = EventLoop::Clock::now();
  EXPECT_GE(first - started, std::chrono::seconds(1));
  EXPECT_LT(second - first, std::chrono::milliseconds(900));
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

// What NetworkState remembers stays for the life of the process, so each run of a test has a domain
// of its own.
TEST_F(DiscoveryScene, ResultsAreRememberedUntilRediscovery) {
  static int runs = 0;
  const std::string domain = "memory" + std::to_string(++runs) + ".test";
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
}

TEST_F(DiscoveryScene, AControllerThatFailedLeavesItsPlaceToTheNext) {
  test::NetlogonFields says = inSite("Near");
  says.domain = "two.test";
  const std::vector<std::string> records = {"_ldap._tcp.dc._msdcs.two.test"};
  setUp({{.name = "main", .says = says, .records = records},
         {.name = "spare",
          .udp = Udp::silent,
          .says = says,
          .records = records,
          .priority = 10,
          .tcp = Tcp::answers}});
  const auto find = [] {
    return NetworkState::getDCForDomain("two.test", ServiceType::domainController, false, "",
                                        false);
  };
  EXPECT_EQ(find(), "main.lab.test");
  takeTroubles();
  for (int times = 0; times < 2; ++times) {
    NetworkState::passOver("main.lab.test:389", ServiceType::domainController, "it is mute");
  }
  EXPECT_EQ(find(), "spare.lab.test");
  EXPECT_EQ(takeTroubles(), std::vector<std::string>{"main.lab.test is passed over: it is mute"});
  NetworkState::passOver("spare.lab.test", ServiceType::domainController, "it is mute too");
  EXPECT_EQ(find(), "main.lab.test");
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
