// Probes of real sockets on the loopback interface.
#include "facts/servers.h"

#include <gtest/gtest.h>

#include "tests/support/tcp_port.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace joinscope {
namespace {

using tolk::test::Listener;

tolk::HostPort entry(const sockaddr_in& address) {
  return {
      .host = "127.0.0.1", .text = {}, .port = ntohs(address.sin_port), .priority = 0, .weight = 0};
}

TEST(ProbeRun, ManyServersComeInOrder) {
  const Listener open;
  const sockaddr_in closed = tolk::test::closedAddress();
  std::vector<ProbeTarget> targets;
  constexpr std::size_t kServers = 131;
  const auto good = [](std::size_t i) { return i % 3 != 0; };
  for (std::size_t i = 0; i < kServers; ++i) {
    targets.push_back({&kGlobalCatalog, entry(good(i) ? open.where() : closed)});
  }
  ProbeRun run(std::move(targets));
  for (std::size_t i = 0; i < kServers; ++i) {
    EXPECT_EQ(run.address(i).result, ProbeVerdict::kGood);
    EXPECT_EQ(run.port(i, 0).result, good(i) ? ProbeVerdict::kGood : ProbeVerdict::kRefused);
  }
}

TEST(ProbeRun, LaterServersAreAskedWhileASilentOneIsWaitedFor) {
  tolk::Props().set(tolk::PN::NET_CONNECT_TIMEOUT, "0.2");
  const tolk::test::SilentPort silent;
  const Listener open;
  ProbeRun run(
      {{&kGlobalCatalog, entry(silent.address())}, {&kGlobalCatalog, entry(open.where())}});
  const ProbeVerdict verdict = run.port(0, 0);
  EXPECT_TRUE(open.hasCaller());
  EXPECT_EQ(verdict.result, ProbeVerdict::kTimeout);
  EXPECT_EQ(verdict.limit, &tolk::PN::NET_CONNECT_TIMEOUT);
  EXPECT_EQ(verdict.reason, "127.0.0.1:" + std::to_string(entry(silent.address()).port) +
                                " did not accept a connection within 0.2 s");
  EXPECT_EQ(run.port(1, 0).result, ProbeVerdict::kGood);
}

TEST(TimeQuery, OnlyATimeOutIsATimeOut) {
  EXPECT_EQ(judgeTimeQuery([] {}).result, ProbeVerdict::kGood);
  const ProbeVerdict silent = judgeTimeQuery([] { throw tolk::TimeoutException("silence"); });
  EXPECT_EQ(silent.result, ProbeVerdict::kTimeout);
  EXPECT_EQ(silent.message, "silence");
  const ProbeVerdict closed = judgeTimeQuery([] { throw tolk::IOException("closed"); });
  EXPECT_EQ(closed.result, ProbeVerdict::kRefused);
  EXPECT_EQ(closed.message, "closed");
}

}  // namespace
}  // namespace joinscope
