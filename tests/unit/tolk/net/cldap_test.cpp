#include "tolk/net/cldap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/failure_of.h"
#include "tests/support/hex.h"
#include "tests/support/tcp_port.h"
#include "tests/unit/tolk/net/cldap_messages.h"
#include "tests/unit/tolk/net/loopback_server.h"
#include "tolk/base/exceptions.h"
#include "tolk/net/netlogon.h"

namespace tolk {
namespace {

using namespace std::chrono_literals;
using test::doneMessage;
using test::element;
using test::entryMessage;
using test::fromHex;
using testing::ElementsAre;
using testing::Pair;

const std::string kIdOne = element(2, "\x01");
const std::string kIdTwo = element(2, "\x02");

// RFC 4511, 4.5.1: scope base, no limits, and the filter and attributes asked for.
TEST(CldapRequest, IsOneLdapMessage) {
  CldapRequest presence;
  presence.present = "objectclass";
  presence.attributes = {"1.1"};
  EXPECT_EQ(encodeCldapRequest(presence, 1),
            fromHex("302a 020101 6325 0400 0a0100 0a0100 020100 020100 010100"
                    "870b 6f626a656374636c617373 3005 0403 312e31"));
  CldapRequest ping;
  ping.equalities = {{"DnsDomain", "lab.test"}, {"NtVer", std::string("\x16\0\0\0", 4)}};
  EXPECT_EQ(encodeCldapRequest(ping, 300),
            fromHex("3041 0202012c 633b 0400 0a0100 0a0100 020100 020100 010100"
                    "a026 a315 0409 446e73446f6d61696e 0408 6c61622e74657374"
                    "    a30d 0405 4e74566572 0404 16000000"
                    "3000"));
}

TEST(CldapAnswer, HoldsEntriesAndTheEnd) {
  const auto decoded = decodeCldapAnswer(
      entryMessage(kIdOne, "CN=a",
                   {{"one", {"1"}}, {"many", {"x", "", {"\0y", 2}}}, {"none", {}}}) +
      doneMessage(kIdOne, 32));
  ASSERT_TRUE(decoded);
  const CldapAnswer answer = decoded.value_or(CldapAnswer());
  EXPECT_EQ(answer.messageId, 1);
  EXPECT_TRUE(answer.finished);
  EXPECT_EQ(answer.resultCode, 32);
  ASSERT_EQ(answer.entries.size(), 1U);
  EXPECT_EQ(answer.entries[0].dn, "CN=a");
  EXPECT_THAT(answer.entries[0].attributes,
              ElementsAre(Pair("one", ElementsAre("1")),
                          Pair("many", ElementsAre("x", "", std::string("\0y", 2))),
                          Pair("none", ElementsAre())));
}

TEST(CldapAnswer, DamageIsNoAnswer) {
  const std::string entry = entryMessage(kIdOne, "", {{"a", {"b"}}});
  const std::vector<std::pair<const char*, std::string>> rows{
      {"nothing", ""},
      {"text", "HTTP/1.0 400 Bad Request\r\n"},
      {"messages of two requests", entry + doneMessage(kIdTwo)},
      {"something behind the end", doneMessage(kIdOne) + entry},
      {"another operation", element(0x30, kIdOne + element(0x61, fromHex("0a0100")))},
      {"a length beyond the end", fromHex("3084ffffffff020101")},
      {"an indefinite length", fromHex("3080 020101 0000")},
      {"an id that is no number", element(0x30, element(4, "1") + element(0x65, ""))},
  };
  for (const auto& [what, bytes] : rows) {
    EXPECT_FALSE(decodeCldapAnswer(bytes)) << what;
  }
}

TEST(CldapAnswer, CutAnywhereIsNoFinishedAnswer) {
  const std::string whole =
      entryMessage(kIdOne, "dn", {{"a", {"b", std::string(300, 'c')}}}) + doneMessage(kIdOne);
  ASSERT_TRUE(decodeCldapAnswer(whole));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto answer = decodeCldapAnswer(whole.substr(0, size));
    EXPECT_TRUE(!answer || !answer->finished) << size;
  }
}

CldapRequest anything() {
  CldapRequest request;
  request.present = "objectclass";
  return request;
}

std::vector<CldapEntry> search(const test::DatagramScript& script,
                               std::chrono::milliseconds limit) {
  test::LoopbackServer server;
  const sockaddr_in address = server.udp(script);
  server.start();
  EventLoop loop;
  return startCldapSearch(loop, address, anything(), limit).wait();
}

TEST(CldapSearch, TakesOnlyTheAnswerToItsOwnRequest) {
  const auto entries = search(
      [](const std::string& request) -> std::vector<std::string> {
        const std::string id = test::messageIdOf(request);
        return {"junk", "", entryMessage(kIdTwo, "foreign", {}) + doneMessage(kIdTwo),
                entryMessage(id, "first", {}), entryMessage(id, "second", {}) + doneMessage(id)};
      },
      1h);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].dn, "first");
  EXPECT_EQ(entries[1].dn, "second");
}

TEST(CldapSearch, ARefusingServerHasNoEntries) {
  EXPECT_TRUE(search(
                  [](const std::string& request) -> std::vector<std::string> {
                    return {doneMessage(test::messageIdOf(request), 53)};
                  },
                  1h)
                  .empty());
}

TEST(CldapSearch, JunkAloneEndsAtTheLimit) {
  const auto junk = [](const std::string& request) -> std::vector<std::string> {
    return {"junk", request};
  };
  EXPECT_THROW(search(junk, 50ms), TimeoutException);
}

TEST(CldapSearch, AClosedPortIsKnownAtOnce) {
  EventLoop loop;
  EXPECT_THAT(test::failureOf([&] {
                return startCldapSearch(loop, test::closedAddress(), anything(), 1h).wait();
              }),
              testing::StartsWith(std::to_string(ECONNREFUSED) + " "));
}

TEST(NetlogonPing, AServerWithoutTheDomainIsNotFound) {
  test::LoopbackServer server;
  const sockaddr_in address = server.udp([](const std::string& request) {
    return std::vector{doneMessage(test::messageIdOf(request))};
  });
  server.start();
  EventLoop loop;
  EXPECT_THROW(startNetlogonPing(loop, Transport::udp, address, "lab.test", 1h).wait(),
               NotFoundException);
}

}  // namespace
}  // namespace tolk
