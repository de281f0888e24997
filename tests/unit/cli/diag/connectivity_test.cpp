// Probes of real sockets on the loopback interface, and the order of the text around them.
#include "cli/diag/connectivity.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "cli/common/task_context.h"
#include "facts/servers.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace joinscope {
namespace {

/// A TCP port of 127.0.0.1 that is bound; it accepts when it listens and refuses when it does not.
class LocalPort {
 public:
  explicit LocalPort(bool listening) {
    auto* raw = reinterpret_cast<sockaddr*>(&address_);
    socklen_t size = sizeof address_;
    EXPECT_EQ(::bind(socket_.get(), raw, size), 0);
    EXPECT_EQ(::getsockname(socket_.get(), raw, &size), 0);
    if (listening) {
      EXPECT_EQ(::listen(socket_.get(), SOMAXCONN), 0);
    }
  }

  [[nodiscard]] tolk::HostPort entry() const {
    return {.host = "127.0.0.1", .text = {}, .port = number(), .priority = 0, .weight = 0};
  }
  /// Lets no further connection in: the queue holds one, which this fills. Packets of others are
  /// dropped.
  void fallSilent() {
    EXPECT_EQ(::listen(socket_.get(), 0), 0);
    auto* raw = reinterpret_cast<sockaddr*>(&address_);
    EXPECT_EQ(::connect(filler_.get(), raw, sizeof address_), 0);
  }
  [[nodiscard]] bool hasCaller() const {
    pollfd descriptor{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return ::poll(&descriptor, 1, 0) == 1;
  }
  [[nodiscard]] std::int32_t number() const { return ntohs(address_.sin_port); }

 private:
  static tolk::UniqueFd tcpSocket() {
    return tolk::UniqueFd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  }

  sockaddr_in address_{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  tolk::UniqueFd socket_ = tcpSocket();
  tolk::UniqueFd filler_ = tcpSocket();
};

TEST(ProbeRun, ManyServersComeInOrder) {
  const LocalPort open(true);
  const LocalPort closed(false);
  std::vector<ProbeTarget> targets;
  constexpr std::size_t kServers = 131;
  const auto good = [](std::size_t i) { return i % 3 != 0; };
  for (std::size_t i = 0; i < kServers; ++i) {
    targets.push_back({&kGlobalCatalog, (good(i) ? open : closed).entry()});
  }
  ProbeRun run(std::move(targets));
  for (std::size_t i = 0; i < kServers; ++i) {
    EXPECT_EQ(run.address(i).result, ProbeVerdict::kGood);
    EXPECT_EQ(run.port(i, 0).result, good(i) ? ProbeVerdict::kGood : ProbeVerdict::kRefused);
  }
}

TEST(ProbeRun, LaterServersAreAskedWhileASilentOneIsWaitedFor) {
  tolk::Props().set(tolk::PN::NET_CONNECT_TIMEOUT, "0.2");
  LocalPort silent(true);
  silent.fallSilent();
  const LocalPort open(true);
  ProbeRun run({{&kGlobalCatalog, silent.entry()}, {&kGlobalCatalog, open.entry()}});
  const ProbeVerdict verdict = run.port(0, 0);
  EXPECT_TRUE(open.hasCaller());
  EXPECT_EQ(verdict.result, ProbeVerdict::kTimeout);
  EXPECT_EQ(verdict.limit, &tolk::PN::NET_CONNECT_TIMEOUT);
  EXPECT_EQ(verdict.reason, "127.0.0.1:" + std::to_string(silent.number()) +
                                " did not accept a connection within 0.2 s");
  EXPECT_EQ(run.port(1, 0).result, ProbeVerdict::kGood);
}

TEST(Connectivity, ListsKeepReachableServersInOrder) {
  const LocalPort open(true);
  const LocalPort other(true);
  const LocalPort closed(false);
  TaskContext ctx(nullptr, "lab.test", nullptr);
  tolk::HostPortList catalogs = {closed.entry(), open.entry(), closed.entry(), other.entry()};
  tolk::HostPortList controllers = {closed.entry()};
  testing::internal::CaptureStdout();
  testConnectivity(ctx, catalogs, controllers, nullptr);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(catalogs, (tolk::HostPortList{open.entry(), other.entry()}));
  EXPECT_TRUE(controllers.empty());
  EXPECT_EQ(text.rfind("  Testing Active Directory connectivity:\n    Global Catalog: ", 0), 0U);
  EXPECT_GT(text.find("    Domain Controller: "), text.rfind("    Global Catalog: "));
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
