#include "tolk/net/dns_records.h"

#include <arpa/nameser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/tolk/net/dns_zone.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using test::serviceData;
using test::wireName;
using testing::ElementsAre;

std::vector<std::string> shown(const HostPortList& list) {
  std::vector<std::string> lines;
  for (const HostPort& entry : list) {
    lines.push_back(std::to_string(entry.priority) + " " + std::to_string(entry.weight) + " " +
                    entry.host + ":" + std::to_string(entry.port));
  }
  return lines;
}

std::string services(const std::vector<std::string>& data) {
  std::vector<std::pair<int, std::string>> records;
  records.reserve(data.size());
  for (const std::string& one : data) records.emplace_back(ns_t_srv, one);
  return test::dnsAnswer(test::dnsQuery("_ldap._tcp.lab.test", ns_t_srv), ns_r_noerror, records);
}

TEST(DnsRecords, AreSortedByPriorityThenLargerWeightThenNameThenPort) {
  const std::string answer = services({
      serviceData(10, 500, 389, wireName("late.lab.test")),
      serviceData(0, 10, 389, wireName("A-Light.Lab.Test")),
      serviceData(0, 100, 390, wireName("b.lab.test")),
      serviceData(0, 100, 389, wireName("b.lab.test")),
      serviceData(0, 100, 389, wireName("a.lab.test")),
  });
  EXPECT_THAT(shown(readServiceRecords(answer)),
              ElementsAre("0 100 a.lab.test:389", "0 100 b.lab.test:389", "0 100 b.lab.test:390",
                          "0 10 a-light.lab.test:389", "10 500 late.lab.test:389"));
}

TEST(DnsRecords, AddressesAndThePrimaryServerOfAZone) {
  const std::string query = test::dnsQuery("lab.test", ns_t_any);
  const std::string answer =
      test::dnsAnswer(query, ns_r_noerror,
                      {{ns_t_aaaa, std::string(15, '\0') + '\1'},
                       {ns_t_a, test::addressData("10.0.0.1")},
                       {ns_t_a, "short"},
                       {ns_t_soa, wireName("DC1.lab.test") + wireName("x")}});
  EXPECT_THAT(readAddressRecords(answer), ElementsAre("10.0.0.1", "::1"));
  EXPECT_EQ("dc1.lab.test", readAuthority(answer));
  EXPECT_EQ("", readAuthority(test::dnsAnswer(query, ns_r_nxdomain, {})));
}

TEST(DnsRecords, AbsurdTargetsDoNotHideTheOthers) {
  const std::string longLabel(63, 'x');
  const std::string longest =
      wireName(std::vector<std::string>{longLabel, longLabel, longLabel, std::string(61, 'y')});
  const std::string answer = services({
      serviceData(0, 0, 1, wireName("")),                                    // not offered here
      serviceData(0, 0, 2, wireName(std::vector<std::string>{"a.b", "c"})),  // a dot in a label
      serviceData(0, 0, 3, wireName(std::vector<std::string>{"a\n\033[m", "\\"})),
      serviceData(0, 0, 4, wireName(std::vector<std::string>{{"\0", 1}, "\xff"})),
      serviceData(0, 0, 5, longest),
      serviceData(0, 0, 6, std::string(1, '\x3f') + longLabel + longest),  // over 255 bytes
      serviceData(0, 0, 7, "\xc0\x7f"),                                    // points ahead
      serviceData(0, 0, 8, ""),                                            // no target at all
      serviceData(0, 0, 9,
                  std::string("\x80"
                              "a\0",
                              3)),  // unknown kind of label
      serviceData(0, 0, 10, wireName("good.lab.test")),
  });
  EXPECT_THAT(shown(readServiceRecords(answer)),
              ElementsAre("0 0 \\000.\\255:4", "0 0 a\\.b.c:2", "0 0 a\\010\\027[m.\\\\:3",
                          "0 0 good.lab.test:10",
                          "0 0 " + longLabel + "." + longLabel + "." + longLabel + "." +
                              std::string(61, 'y') + ":5"));
}

TEST(DnsRecords, RecordsOfOtherTypesAreSkipped) {
  const std::string query = test::dnsQuery("1.0.99.10.in-addr.arpa", ns_t_ptr);
  const std::string answer = test::dnsAnswer(query, ns_r_noerror,
                                             {{ns_t_cname, wireName("elsewhere.test")},
                                              {ns_t_ptr, wireName("HOST1.lab.test")},
                                              {ns_t_ptr, wireName("alias.lab.test")}});
  EXPECT_THAT(shown(readPointerRecords(answer)),
              ElementsAre("0 0 host1.lab.test:-1", "0 0 alias.lab.test:-1"));
  EXPECT_TRUE(readServiceRecords(answer).empty());
}

TEST(DnsRecords, AnAnswerCutAnywhereGivesNoRecordThatIsNotInIt) {
  const std::string whole = services(
      {serviceData(1, 2, 3, wireName("a.lab.test")), serviceData(4, 5, 6, wireName("b.lab.test"))});
  const std::vector<std::string> lines = shown(readServiceRecords(whole));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    try {
      EXPECT_TRUE(readServiceRecords(whole.substr(0, size)).empty());
    } catch (const BadDataException&) {
    }
  }
  EXPECT_EQ(lines.size(), 2U);
}

}  // namespace
}  // namespace tolk
