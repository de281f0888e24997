#include "tolk/net/dns.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "tests/support/failure_of.h"
#include "tests/unit/tolk/net/dns_zone.h"
#include "tests/unit/tolk/net/sandbox.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/host_query.h"
#include "tolk/net/interfaces.h"

namespace tolk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> shown(const HostPortList& list) {
  std::vector<std::string> lines;
  for (const HostPort& entry : list) {
    lines.push_back(entry.host + ":" + std::to_string(entry.port));
  }
  return lines;
}

class Dns : public test::Sandbox {
 protected:
  void SetUp() override {
    Sandbox::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("/etc/resolv.conf", "nameserver 127.0.0.1\nsearch lab.test\n");
    write("/etc/hosts", "127.0.0.1 localhost\n10.0.0.7 known.lab.test known\n");
    Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "3600");
    Props().set(PN::NET_DNS_RETRY_DELAY, "30");
    zone_.srv("_ldap._tcp.lab.test", 0, 100, 389, "DC1.lab.test");
    zone_.a("dc1.lab.test", "10.0.0.1");
    zone_.a("dc1.lab.test", "10.0.0.2");
    zone_.ptr("1.0.0.10.in-addr.arpa", "dc1.lab.test");
    zone_.ptr("1.0.0.10.in-addr.arpa", "also.lab.test");
    for (const char* name : {"refused.test", "failing.test", "silent.test"}) {
      const std::string text = name;
      const int fault = text == "refused.test"   ? test::DnsZone::kRefused
                        : text == "failing.test" ? test::DnsZone::kServFail
                                                 : test::DnsZone::kSilent;
      zone_.misbehave("_ldap._tcp." + text, fault);
      zone_.misbehave("host." + text, fault);
    }
    zone_.misbehave("5.0.0.10.in-addr.arpa", test::DnsZone::kRefused);
    zone_.misbehave("6.0.0.10.in-addr.arpa", test::DnsZone::kServFail);
    zone_.misbehave("7.0.0.10.in-addr.arpa", test::DnsZone::kSilent);
    zone_.serve(server_);
    server_.start();
  }

  test::DnsZone zone_;

 private:
  test::LoopbackServer server_;
};

TEST_F(Dns, RecordsAreAppendedAndNoRecordIsNoFailure) {
  HostPortList list{{.host = "before", .text = {}, .port = 1}};
  EXPECT_EQ(FindSrv("_ldap._tcp.lab.test", list), 1);
  EXPECT_THAT(shown(list), ElementsAre("before:1", "dc1.lab.test:389"));
  EXPECT_EQ(FindSrvFromDns("_ldap._tcp.none.test", list, 0, 0, 0), 0);  // no such name
  EXPECT_EQ(FindSrv("dc1.lab.test", list), 0);                          // no such record
  EXPECT_EQ(list.size(), 2U);
}

TEST_F(Dns, ManyRecordsComeOverTcp) {
  for (int i = 0; i < 300; ++i) {
    zone_.srv("_gc._tcp.lab.test", 0, 0, 3268, "catalog-" + std::to_string(i) + ".lab.test");
  }
  HostPortList list;
  EXPECT_EQ(FindSrv("_gc._tcp.lab.test", list), 1);
  EXPECT_EQ(list.size(), 300U);
}

TEST_F(Dns, AFailingResolverIsUnavailableUnlessTheConfigurationNamesControllers) {
  for (const char* domain : {"refused.test", "failing.test", "silent.test"}) {
    SCOPED_TRACE(domain);
    const bool silent = std::string(domain) == "silent.test";
    Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, silent ? "0.2" : "3600");
    const std::string name = std::string("_ldap._tcp.") + domain;
    Props().set(std::string("dns.dc.") + domain, "");
    HostPortList list;
    EXPECT_THROW(FindSrvFromDns(name, list, 0, 0, 0), DNSUnavailableException);
    EXPECT_THROW(FindSrv(name, list), DNSUnavailableException);
    EXPECT_THAT(list, IsEmpty());
    Props().set(std::string("dns.dc.") + domain, "DC9.x.test, 10.0.0.9:1389\tdc8.x.test.:0,,");
    EXPECT_EQ(FindSrv(name, list), 0);
    EXPECT_THAT(shown(list), ElementsAre("dc9.x.test:389", "10.0.0.9:1389", "dc8.x.test:389"));
  }
}

// Without the code in front, which is -1.
std::string whyNoRecords(const std::string& name) {
  HostPortList list;
  const std::string failure =
      test::failureOf<DNSUnavailableException>([&] { return FindSrvFromDns(name, list, 0, 0, 0); });
  return failure.substr(failure.find(' ') + 1);
}

TEST_F(Dns, AFailureNamesTheServerAndWhatItDid) {
  for (int i = 0; i < 300; ++i) zone_.srv("_ldap._tcp.long.test", 0, 0, 389, std::to_string(i));
  test::LoopbackServer noTcp;
  noTcp.udp([this](const auto& query) { return std::vector{zone_.reply(query, true)}; },
            "127.0.0.6", 53);
  noTcp.start();
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.25");
  const std::vector<std::array<const char*, 3>> rows{
      {"127.0.0.1", "refused", "127.0.0.1 answered REFUSED"},
      {"127.0.0.1", "failing", "127.0.0.1 answered SERVFAIL"},
      {"127.0.0.1", "silent",
       "127.0.0.1 answers, but not this question within 0.25 s (velkd.dns.response.maxtime)"},
      {"127.0.0.7", "lab", "127.0.0.7 cannot be reached at port 53"},
      {"127.0.0.6", "long", "127.0.0.6 sent a truncated answer and closed TCP port 53"},
      {"127.0.0.7\nnameserver 127.0.0.1", "failing",
       "127.0.0.7 cannot be reached at port 53, 127.0.0.1 answered SERVFAIL"},
  };
  for (const auto& [server, domain, fault] : rows) {
    write("/etc/resolv.conf", std::string("nameserver ") + server + "\n");
    const std::string name = std::string("_ldap._tcp.") + domain + ".test";
    EXPECT_EQ(whyNoRecords(name), "DNS has no answer for " + name + ": " + fault);
  }
}

TEST_F(Dns, TheConfigurationIsAskedWhereDnsHasNothing) {
  Props().set("dns.dc.empty.test", "a.empty.test");
  Props().set("dns.gc.empty.test", "b.empty.test b2.empty.test:99999");
  const std::vector<std::pair<const char*, std::vector<std::string>>> rows{
      {"_ldap._tcp.Empty.test.", {"a.empty.test:389"}},
      {"_ldap._tcp.dc._msdcs.empty.test", {"a.empty.test:389"}},
      {"_gc._tcp.empty.test", {"b.empty.test:3268", "b2.empty.test:3268"}},
      {"_kerberos._tcp.empty.test", {}},
      {"_ldap._tcp.other.test", {}},
  };
  for (const auto& [name, expected] : rows) {
    HostPortList list;
    EXPECT_EQ(FindSrv(name, list), 0) << name;
    EXPECT_EQ(shown(list), expected) << name;
  }
}

TEST_F(Dns, AbsurdNamesAreRefusedAndNeverAsked) {
  HostPortList list;
  for (const std::string& name :
       {std::string("_ldap._tcp..test"), "_ldap._tcp." + std::string(64, 'x') + ".test",
        std::string(100000, 'y'), std::string("_ldap._tcp.lab.test\0.evil", 25)}) {
    EXPECT_THAT(test::failureOf<BadDataException>([&] { return FindSrv(name, list); }),
                testing::SizeIs(testing::AllOf(testing::Gt(0U), testing::Lt(300U))));
  }
}

// A trouble is told once a process: what it names must be new where tests are repeated.
std::string newNumber() {
  static int number = 0;
  return std::to_string(++number);
}

TEST_F(Dns, OnlySilenceFailsAReverseLookup) {
  const auto find = [](const char* address, HostPortList& out) {
    return FindPtrFromDns(address, out);
  };
  HostPortList list;
  EXPECT_EQ(find("10.0.0.1", list), 2);
  EXPECT_THAT(shown(list), ElementsAre("dc1.lab.test:-1", "also.lab.test:-1"));
  for (const char* address : {"10.0.0.4", "10.0.0.5", "10.0.0.6"}) {  // absent, refused, failing
    EXPECT_EQ(find(address, list), -1) << address;
  }
  const std::string number = newNumber();
  zone_.misbehave(number + ".1.0.10.in-addr.arpa", test::DnsZone::kServFail);
  takeTroubles();
  EXPECT_EQ(FindPtrFromDns("10.0.1." + number, list), -1);
  EXPECT_THAT(takeTroubles(), ElementsAre("DNS has no answer for " + number +
                                          ".1.0.10.in-addr.arpa: 127.0.0.1 answered SERVFAIL"));
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.2");
  EXPECT_THROW(find("10.0.0.7", list), DNSUnavailableException);
  EXPECT_THROW(find("10.0.0", list), BadDataException);
  EXPECT_EQ(list.size(), 2U);
}

// Answers its first questions alone, and those without EDNS0 alone where that is said.
class FadingServer {
 public:
  FadingServer(const test::DnsZone& zone, int answers, bool plainOnly = false,
               const std::string& address = "127.0.0.9") {
    server_.udp(
        [this, &zone, answers, plainOnly](const std::string& query) {
          constexpr std::size_t kAdditionalRecords = 11;
          const bool silent = asked_++ >= answers || (plainOnly && query[kAdditionalRecords] != 0);
          return silent ? std::vector<std::string>() : std::vector{zone.reply(query, true)};
        },
        address, 53);
    server_.start();
  }
  [[nodiscard]] int asked() const { return asked_; }

 private:
  std::atomic<int> asked_ = 0;
  test::LoopbackServer server_;
};

TEST_F(Dns, ASilentFirstServerCostsItsLimitOnceAndIsNamedOnce) {
  const std::string address = "127.1.0." + newNumber();
  const FadingServer silent(zone_, 0, false, address);
  write("/etc/resolv.conf", "nameserver " + address + "\nnameserver 127.0.0.1\n");
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.6");
  takeTroubles();
  HostPortList list;
  EXPECT_EQ(FindSrv("_ldap._tcp.lab.test", list), 1);
  const int asked = silent.asked();
  EXPECT_GE(asked, 2);  // a lost datagram is no silence
  EXPECT_EQ(FindPtrFromDns("10.0.0.1", list), 2);
  EXPECT_EQ(FindSrv("_ldap._tcp.lab.test", list), 1);
  EXPECT_EQ(silent.asked(), asked);
  EXPECT_THAT(takeTroubles(), ElementsAre("DNS server " + address +
                                          " did not answer within 0.3 s "
                                          "(its share of velkd.dns.response.maxtime)"));
}

TEST_F(Dns, AServerThatFallsSilentIsLeftAloneForAWhile) {
  const FadingServer fading(zone_, 1);
  write("/etc/resolv.conf", "nameserver 127.0.0.9\noptions timeout:1 attempts:1\n");
  HostPortList list;
  EXPECT_EQ(FindSrv("_ldap._tcp.lab.test", list), 1);
  const std::string fault =
      "DNS has no answer for _ldap._tcp.lab.test: 127.0.0.9 did not answer "
      "within 1 s (timeout and attempts in resolv.conf)";
  EXPECT_EQ(whyNoRecords("_ldap._tcp.lab.test"), fault);
  EXPECT_EQ(fading.asked(), 3);  // both questions, and whether it lives
  EXPECT_EQ(whyNoRecords("_ldap._tcp.lab.test"),
            fault + " and is not asked again for 30 s (net.dns.retry.delay)");
  EventLoop loop;
  EXPECT_THAT(startHostLookup(loop, "dc1.lab.test").wait(), IsEmpty());
  EXPECT_EQ(startHostLookup(loop, "known").wait().size(), 1U);  // by /etc/hosts
  EXPECT_EQ(fading.asked(), 3);
  Props().set(PN::NET_DNS_RETRY_DELAY, "0.1");
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.2");
  const std::string sooner =
      "DNS has no answer for _ldap._tcp.lab.test: 127.0.0.9 did not answer "
      "within 0.2 s (velkd.dns.response.maxtime)";
  write("/etc/resolv.conf", "nameserver 127.0.0.9\noptions ndots:2\n");
  EXPECT_EQ(whyNoRecords("_ldap._tcp.lab.test"), sooner);  // all is new in a new resolv.conf
  std::this_thread::sleep_for(std::chrono::milliseconds(110));
  EXPECT_EQ(whyNoRecords("_ldap._tcp.lab.test"), sooner);
}

TEST_F(Dns, ANameThatWasAnsweredStaysKnownForItsTimeToLive) {
  const std::string address = "127.2.0." + newNumber();
  const FadingServer fading(zone_, 2, false, address);
  const std::string once = "once" + newNumber() + ".lab.test";
  const std::string twice = "twice" + newNumber() + ".lab.test";
  for (const std::string& name : {once, twice}) zone_.a(name, "10.0.0.8");
  write("/etc/resolv.conf", "nameserver " + address + "\n");
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.3");
  EventLoop loop;
  EXPECT_EQ(startHostLookup(loop, once).wait().size(), 1U);  // whose records last 0 s
  zone_.keepFor(30);
  // Of two questions together the server answers the first.
  Pending<std::vector<in_addr>> first = startHostLookup(loop, twice);
  EXPECT_EQ(startHostLookup(loop, twice).wait().size(), 1U);
  EXPECT_EQ(first.wait().size(), 1U);
  EXPECT_EQ(startHostLookup(loop, tolk::toUpper(twice)).wait().size(), 1U);
  EXPECT_THAT(startHostLookup(loop, once).wait(), IsEmpty());
}

TEST_F(Dns, AServerWhereEdnsIsDroppedIsAskedWithoutIt) {
  const FadingServer plain(zone_, 1000, true);
  write("/etc/resolv.conf", "nameserver 127.0.0.9\n");
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.2");
  EXPECT_NE(whyNoRecords("_ldap._tcp.lab.test"), "");
  EXPECT_EQ(whyNoRecords("_ldap._tcp.lab.test"), "");
}

struct HostRow {
  const char* name;
  std::string canonical;
  std::vector<std::string> addresses;
  int error;
};

TEST_F(Dns, HostsComeFromTheFileThenFromDnsWithItsSearchDomains) {
  const std::string six = "six" + newNumber() + ".lab.test";
  zone_.add(six, ns_t_aaaa, std::string(16, '\1'));
  const std::vector<HostRow> rows{
      {"known.lab.test", "known.lab.test", {"10.0.0.7"}, 0},
      {"known", "known.lab.test", {"10.0.0.7"}, 0},
      {"dc1.lab.test", "dc1.lab.test", {"10.0.0.1", "10.0.0.2"}, 0},
      {"dc1", "dc1.lab.test", {"10.0.0.1", "10.0.0.2"}, 0},
      {"192.0.2.1", "192.0.2.1", {"192.0.2.1"}, 0},
      {"absent.lab.test", "", {}, HOST_NOT_FOUND},
      {six.c_str(), "", {}, NO_DATA},
      {"host.refused.test", "", {}, TRY_AGAIN},
      {"host.failing.test", "", {}, TRY_AGAIN},
      {"", "", {}, HOST_NOT_FOUND},
      {"a..b", "", {}, NO_RECOVERY},
  };
  takeTroubles();
  for (const HostRow& row : rows) {
    SCOPED_TRACE(row.name);
    hostent entry{};
    std::array<char, 8196> buffer;
    int error = -2;
    const hostent* found =
        tolk_gethostbyname_r(row.name, &entry, buffer.data(), buffer.size(), &error);
    EXPECT_EQ(found != nullptr, row.error == 0);
    EXPECT_EQ(error, row.error);
    if (found == nullptr) continue;
    EXPECT_EQ(found, &entry);
    EXPECT_EQ(found->h_name, row.canonical);
    EXPECT_EQ(found->h_addrtype, AF_INET);
    EXPECT_EQ(*found->h_aliases, nullptr);
    std::vector<std::string> addresses;
    for (char** address = found->h_addr_list; *address != nullptr; ++address) {
      in_addr binary{};
      std::memcpy(&binary, *address, sizeof binary);
      addresses.push_back(InetNToA(binary.s_addr));
    }
    EXPECT_THAT(addresses, testing::UnorderedElementsAreArray(row.addresses));
  }
  EXPECT_THAT(takeTroubles(),
              Contains(six + " has IPv6 addresses only (101:101:101:101:101:101:101:101), which "
                             "this version does not use"));
}

TEST_F(Dns, ABufferThatIsTooSmallIsNeverOverrun) {
  hostent entry{};
  int error = 0;
  for (std::size_t size = 0; size < 64; ++size) {
    std::vector<char> buffer(size);  // sanitizers watch its end
    errno = 0;
    if (tolk_gethostbyname_r("dc1", &entry, buffer.data(), size, &error) != nullptr) continue;
    EXPECT_EQ(error, NETDB_INTERNAL);
    EXPECT_EQ(errno, ERANGE);
  }
  EXPECT_EQ(error, 0);  // the largest was enough
}

TEST_F(Dns, ASilentResolverMeansTryAgain) {
  Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "0.2");
  hostent entry{};
  std::array<char, 8196> buffer;
  int error = 0;
  EXPECT_EQ(tolk_gethostbyname_r("host.silent.test", &entry, buffer.data(), buffer.size(), &error),
            nullptr);
  EXPECT_EQ(error, TRY_AGAIN);
  EventLoop loop;
  EXPECT_THAT(startHostLookup(loop, "host.silent.test").wait(), IsEmpty());
}

TEST_F(Dns, LocalNamesAreQualifiedWithoutWaitingForDns) {
  const std::vector<std::array<const char*, 3>> rows{
      {"known", "known", "known.lab.test"},       // by /etc/hosts
      {"dc1", "dc1", "dc1.lab.test"},             // by DNS
      {"host7.x.test", "host7", "host7.x.test"},  // as it is
      {"nowhere", "nowhere", "nowhere"},          // not to be had
  };
  for (const auto& [name, shortName, longName] : rows) {
    setHostName(name);
    EXPECT_EQ(shortLocalHostName(), shortName);
    EXPECT_EQ(longLocalHostName(), longName);
  }
}

TEST_F(Dns, TheLoopbackIsListedOnlyWhenAskedFor) {
  std::list<InterfaceDescription> list{{}};
  GetIpAddresses(list, 1, false);
  EXPECT_TRUE(list.empty());
  GetIpAddresses(list, 1, true);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list.front().name, "lo");
  EXPECT_EQ(InetNToA(list.front().address), "127.0.0.1");
  EXPECT_EQ(InetNToA(list.front().netmask), "255.0.0.0");
}

}  // namespace
}  // namespace tolk
