#include "tolk/net/probes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "tests/support/failure_of.h"
#include "tests/support/hex.h"
#include "tests/support/tcp_port.h"
#include "tests/unit/tolk/net/cldap_messages.h"
#include "tests/unit/tolk/net/loopback_server.h"
#include "tolk/base/descriptor_limit.h"
#include "tolk/base/exceptions.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using namespace std::chrono_literals;
using test::fromHex;

TEST(ConnectProbe, TellsOpenRefusedAndSilentApart) {
  test::LoopbackServer server;
  const sockaddr_in open = server.tcp([](const std::string&) { return std::nullopt; });
  server.start();
  const test::SilentPort silent;
  sockaddr_in multicast = open;
  multicast.sin_addr.s_addr = htonl(0xe0000001);  // no TCP there, known at once
  EventLoop loop;
  auto toSilent = startConnectProbe(loop, silent.address(), 300ms);
  auto toOpen = startConnectProbe(loop, open, 1h);
  auto toClosed = startConnectProbe(loop, test::closedAddress(), 1h);
  auto toNowhere = startConnectProbe(loop, multicast, 1h);
  EXPECT_EQ(toOpen.wait().result, ConnectResult::kConnected);
  EXPECT_EQ(toClosed.wait().result, ConnectResult::kRefused);
  const ProbeOutcome nowhere = toNowhere.wait();
  EXPECT_EQ(nowhere.result, ConnectResult::kTimeout);
  EXPECT_EQ(nowhere.reason, addressText(multicast) + ": Network is unreachable");
  const ProbeOutcome unheard = toSilent.wait();
  EXPECT_EQ(unheard.result, ConnectResult::kTimeout);
  EXPECT_EQ(unheard.reason,
            addressText(silent.address()) + " did not accept a connection within 0.3 s");
}

/// What a TCP probe and an NTP query say of a server that cannot be asked, by a process that may
/// open so many files.
std::array<std::string, 2> reasonsOf(const sockaddr_in& address, rlim_t files) {
  EventLoop loop;
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t before = std::exchange(limit.rlim_cur, files);
  ::setrlimit(RLIMIT_NOFILE, &limit);
  auto connect = startConnectProbe(loop, address, 1h);
  auto query = startNtpQuery(loop, address, 1h);
  loop.runUntil([&] { return connect.done() && query.done(); }, EventLoop::Clock::now() + 10s);
  limit.rlim_cur = before;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  try {
    query.wait();
  } catch (const Base_Exception& failure) {
    return {connect.wait().reason, failure.what()};
  }
  return {};
}

TEST(Probes, WantOfDescriptorsIsNoFaultOfTheServer) {
  const sockaddr_in address = test::closedAddress();
  // The undefined-behaviour sanitizer needs a descriptor for its first look at an object's type.
  EXPECT_THAT(reasonsOf(address, 100),
              testing::Each(addressText(address) + ": Connection refused"));
  EXPECT_THAT(
      reasonsOf(address, 0),
      testing::Each(addressText(address) + " was not asked: Too many open files on this host"));
}

TEST(Probes, TheLimitOfOpenFilesIsRaisedForMuchWork) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit low{100, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  EXPECT_EQ(usableDescriptors(20), 52U);
  EXPECT_GT(usableDescriptors(300), 300U);
  rlimit raised{};
  ::getrlimit(RLIMIT_NOFILE, &raised);
  EXPECT_EQ(raised.rlim_cur, before.rlim_max);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(TcpConnect, TakesTheFirstAddressThatAccepts) {
  test::LoopbackServer server;
  const sockaddr_in open = server.tcp([](const std::string&) { return std::nullopt; });
  server.start();
  const test::SilentPort silent;
  EventLoop loop;
  const UniqueFd fd =
      startTcpConnect(loop, {test::closedAddress(), silent.address(), open}, 1h).wait();
  sockaddr_in peer{};
  socklen_t size = sizeof peer;
  ASSERT_EQ(::getpeername(fd.get(), reinterpret_cast<sockaddr*>(&peer), &size), 0);
  EXPECT_EQ(peer.sin_port, open.sin_port);
}

TEST(TcpConnect, FailsWithTheReason) {
  const test::SilentPort silent;
  EventLoop loop;
  EXPECT_THROW(startTcpConnect(loop, {silent.address()}, 50ms).wait(), TimeoutException);
  const std::vector<std::pair<std::vector<sockaddr_in>, int>> rows{
      {{}, EDESTADDRREQ},
      {{test::closedAddress()}, ECONNREFUSED},
      {{test::closedAddress(), test::closedAddress()}, ECONNREFUSED},
  };
  for (const auto& [addresses, code] : rows) {
    EXPECT_THAT(
        test::failureOf([&, list = addresses] { return startTcpConnect(loop, list, 1h).wait(); }),
        testing::StartsWith(std::to_string(code) + " "));
  }
}

// The start of a negotiate response for dialect 3.1.1, as far as it is looked at (MS-SMB2 2.2.4).
std::string smbAnswer() {
  return fromHex("00000088 fe534d42 4000 0000 00000000 0000 0100 01000000 00000000") +
         std::string(40, '\0') + fromHex("4100 0100 1103 0200") + std::string(64, '\0');
}

std::string changed(std::size_t at, char value) {
  std::string answer = smbAnswer();
  answer[at] = value;
  return answer;
}

TEST(SmbProbe, OnlyAProperNegotiateAnswerIsGood) {
  struct Row {
    const char* what;
    std::optional<std::string> answer;
    int result;
  };
  const std::vector<Row> rows{
      {"an SMB 2 server", smbAnswer(), 0},
      {"hangs up", "", ECONNRESET},
      {"says nothing", std::nullopt, ETIME},
      {"all but a byte", smbAnswer().substr(0, smbAnswer().size() - 1), ETIME},
      {"half of the header", smbAnswer().substr(0, 40), ETIME},
      {"an HTTP server", "HTTP/1.0 400 Bad Request\r\n\r\n", EPROTO},
      {"SMB 1", changed(4, '\xff'), EPROTO},
      {"not a session message", changed(0, '\x83'), EPROTO},
      {"an error status", changed(4 + 8, '\x0d'), EPROTO},
      {"another command", changed(4 + 12, '\x01'), EPROTO},
      {"a request", changed(4 + 16, '\x00'), EPROTO},
      {"another structure", changed(4 + 64, '\x09'), EPROTO},
  };
  for (const Row& row : rows) {
    test::LoopbackServer server;
    const sockaddr_in address = server.tcp([&row](const std::string&) { return row.answer; });
    server.start();
    EventLoop loop;
    const auto limit = row.result == ETIME ? 50ms : std::chrono::milliseconds(1h);
    EXPECT_EQ(startSmbProbe(loop, address, limit).wait().result, row.result) << row.what;
  }
}

TEST(SmbProbe, AsksForEveryDialectWithOneWholeFrame) {
  std::string request;
  {
    test::LoopbackServer server;
    const sockaddr_in address = server.tcp([&request](const std::string& received) {
      request = received;
      return smbAnswer();
    });
    server.start();
    EventLoop loop;
    // The limit has passed unseen, as when the process was stopped: the answer still counts.
    ASSERT_EQ(startSmbProbe(loop, address, -1s).wait().result, 0);
  }
  ASSERT_EQ(request.size(), 4U + 172U);
  EXPECT_EQ(request.substr(0, 8), fromHex("000000ac fe534d42"));
  EXPECT_EQ(request.substr(4 + 64, 6), fromHex("2400 0500 0100"));
  EXPECT_EQ(request.substr(4 + 100, 12), fromHex("0202 1002 0003 0203 1103 0000"));
  EXPECT_EQ(request.substr(4 + 112, 14), fromHex("0100 2600 00000000 0100 2000 0100"));
}

TEST(SmbProbe, AClosedPortIsRefusedInWords) {
  sockaddr_in address = test::closedAddress();
  std::string message;
  EXPECT_EQ(TestSmbPort(address, message), ECONNREFUSED);
  EXPECT_NE(message.find("Connection refused"), std::string::npos) << message;
}

TEST(KdcProbe, OnlyAKdcsAnswerIsOne) {
  const std::vector<std::pair<std::optional<std::string>, std::string>> rows{
      {fromHex("00000010 7e0e"), ""},
      {fromHex("00000200 6b82"), ""},
      {"", " closed the connection without an answer"},
      {std::nullopt, " gave no answer within 0.05 s"},
      {"HTTP/1.0 400 Bad Request", "the answer is not that of a key distribution center"},
  };
  for (const auto& [answer, outcome] : rows) {
    test::LoopbackServer server;
    const auto reply = answer;
    const sockaddr_in address = server.tcp([&reply](const std::string&) { return reply; });
    server.start();
    EventLoop loop;
    const auto limit = answer ? std::chrono::milliseconds(1h) : 50ms;
    EXPECT_THAT(startKdcProbe(loop, address, "LAB.TEST", limit).wait().reason,
                testing::AnyOf(outcome, addressText(address) + outcome));
  }
}

// 2026-01-01 00:00:00, and 2036-02-07 06:28:17 in the next era (RFC 4330, 3).
const std::string kStamp2026 = fromHex("ed003780 00000000");
const std::string kStampNextEra = fromHex("00000001 00000000");

std::string ntpAnswer(const std::string& request, char stratum, const std::string& stamp) {
  std::string answer = '\x24' + std::string(1, stratum) + std::string(22, '\0');
  return answer + request.substr(40, 8) + stamp + stamp;
}

NtpAnswer ask(const std::function<std::string(const std::string&)>& script) {
  test::LoopbackServer server;
  const sockaddr_in address =
      server.udp([&script](const std::string& request) { return std::vector{script(request)}; });
  server.start();
  EventLoop loop;
  return startNtpQuery(loop, address, 50ms).wait();
}

TEST(NtpQuery, ReadsTheTransmitStampInItsEra) {
  EXPECT_EQ(ask([](const std::string& request) { return ntpAnswer(request, 5, kStamp2026); }).time,
            1767225600);
  EXPECT_EQ(
      ask([](const std::string& request) { return ntpAnswer(request, 1, kStampNextEra); }).time,
      2085978497);
}

TEST(NtpQuery, TellsHowFarThisClockIsAheadToPartsOfASecond) {
  const double ahead =
      ask([](const std::string& request) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const std::chrono::duration<double> time = now - 94s - 500ms;
        const auto seconds = static_cast<std::uint32_t>(time.count());
        const double part = time.count() - seconds;
        std::string stamp;
        for (const std::uint32_t half :
             {seconds + 2208988800U, static_cast<std::uint32_t>(part * 4294967295.0)}) {
          for (int shift = 24; shift >= 0; shift -= 8) {
            stamp += static_cast<char>(half >> shift & 0xff);
          }
        }
        return ntpAnswer(request, 2, stamp);
      }).clockAhead;
  EXPECT_NEAR(ahead, 94.5, 0.1);
}

TEST(NtpQuery, WhatIsNoAnswerToTheQuestionIsIgnoredUntilTheLimit) {
  const std::vector<std::pair<const char*, std::function<std::string(const std::string&)>>> rows{
      {"the question itself", [](const std::string& request) { return request; }},
      {"another stamp",
       [](const std::string& request) {
         std::string answer = ntpAnswer(request, 5, kStamp2026);
         answer[30] = static_cast<char>(answer[30] ^ 1);
         return answer;
       }},
      {"broadcast mode",
       [](const std::string& request) {
         return '\x25' + ntpAnswer(request, 5, kStamp2026).substr(1);
       }},
      {"too short",
       [](const std::string& request) { return ntpAnswer(request, 5, kStamp2026).substr(0, 47); }},
  };
  for (const auto& [what, script] : rows) {
    EXPECT_THROW(ask(script), TimeoutException) << what;
  }
}

TEST(NtpQuery, AServerWithoutTimeIsAFailure) {
  struct Row {
    char head;  // leap indicator, version, mode
    char stratum;
    std::string stamp;
    const char* reason;
  };
  const Row rows[] = {{'\x24', '\0', kStamp2026, "has no time to give (RATE)"},
                      {'\x24', '\x10', kStamp2026, "its clock is not synchronized"},
                      {'\xe4', '\2', kStamp2026, "its clock is not synchronized"},
                      {'\x24', '\5', std::string(8, '\0'), "has no time to give"}};
  for (const Row& row : rows) {
    const auto script = [&row](const std::string& request) {
      return row.head + ntpAnswer(request, row.stratum, row.stamp).replace(12, 4, "RATE").substr(1);
    };
    EXPECT_THAT(test::failureOf<IOException>([&] { return ask(script); }),
                testing::HasSubstr(row.reason));
  }
}

TEST(NtpQuery, AClosedPortIsNoTimeout) {
  EventLoop loop;
  EXPECT_THROW(startNtpQuery(loop, test::closedAddress(), 1h).wait(), IOException);
}

}  // namespace
}  // namespace tolk
