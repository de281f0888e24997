// What a failure on the way to the platform costs: which connectors are given up, and whether the
// next one is tried.
#include <gtest/gtest.h>

#include <future>

#include "cloud/http/cloud_conn_pool.h"
#include "tests/support/platform_server.h"
#include "tests/unit/cloud/raw_http_server.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "velkd/mfa_sessions.h"

namespace velkd {
namespace {

using Server = tolk::test::RawHttpServer;
using Answers = std::deque<Server::Answer>;

constexpr const char* kTunnel = "HTTP/1.1 200 OK\r\n\r\n";

/// Nobody accepts, and the kernel's own queue is full: connecting takes for ever.
class BlackHole {
 public:
  BlackHole() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    socket_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::bind(socket_.get(), raw, size) != 0 || ::listen(socket_.get(), 0) != 0) std::abort();
    (void)::getsockname(socket_.get(), raw, &size);
    for (tolk::UniqueFd& waiting : waiting_) {
      waiting.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
      (void)::connect(waiting.get(), raw, size);
    }
    address_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  [[nodiscard]] const std::string& address() const { return address_; }

 private:
  tolk::UniqueFd socket_;
  std::array<tolk::UniqueFd, 4> waiting_;
  std::string address_;
};

/// Connectors in their order.
class Connectors final : public tolk::ConnectorAccess {
 public:
  struct One {
    std::string address, site;
  };
  Connectors(std::string platform, std::vector<One> all)
      : platform_(std::move(platform)), left_(std::move(all)) {
    install(this);
  }
  ~Connectors() override { install(nullptr); }
  std::string getCloudConnector() override { return first().address; }
  void connectorFailed(const std::string& address) override {
    const std::lock_guard lock(mutex_);
    discarded += static_cast<int>(
        std::erase_if(left_, [&](const One& one) { return one.address == address; }));
  }
  std::string platformUrl() override { return platform_; }
  tolk::IwaAddress getIwaUrl() override {
    return {.url = first().site, .principal = "HTTP/x@X.TEST", .connector = first().address};
  }
  std::string GetSPNFromIwaURL(const std::string& /*url*/) override { return {}; }

  int discarded = 0;

 private:
  One first() {
    const std::lock_guard lock(mutex_);
    return left_.empty() ? One() : left_.front();
  }
  std::mutex mutex_;
  std::string platform_;
  std::vector<One> left_;
};

/// Sign-ons, a connection each, that end with a user who need not be asked.
Answers signOns(bool tunnel, int count) {
  Answers all;
  for (int i = 0; i < count; ++i) {
    const std::string body = R"({"success":true})";
    if (tunnel) all.push_back({.bytes = kTunnel});
    all.push_back(Server::ok(body, "Set-Cookie: .ASPXAUTH=machine; path=/\r\n"));
    all.push_back(Server::ok(body, "Set-Cookie: .ASPXAUTH=user; path=/\r\n"));
    all.push_back(Server::ok(body));
    all.back().close = true;
  }
  return all;
}

Answers repeated(Server::Answer answer, int count) {
  answer.close = true;
  return Answers(static_cast<std::size_t>(count), answer);
}

Answers siteChecks(int count) {
  return repeated(Server::ok(R"({"result":"success","otc":"c"})"), count);
}

enum class Way { connector, webProxy, direct, configuredSite };
enum class Fault { dead, refusing, silent, tls, serverError, hungOnReuse };

struct Row {
  Way way;
  Fault fault;
  int discarded;
  bool authenticated;
};

class MfaWaysTest : public testing::Test {
 protected:
  void SetUp() override {
    set(tolk::PN::CLOUD_CURL_TIMEOUT, "1");
    set(tolk::PN::CLOUD_CONNECT_TIMEOUT, "0.7");
  }
  void TearDown() override {
    for (const tolk::Property* property :
         {&tolk::PN::CLOUD_CURL_TIMEOUT, &tolk::PN::CLOUD_CONNECT_TIMEOUT,
          &tolk::PN::CLOUD_PROXY_SERVER, &tolk::PN::CLOUD_DIRECT_CONNECTION,
          &tolk::PN::CLOUD_IWA_URL_OVERRIDE, &tolk::PN::CLOUD_REST_VERSION}) {
      set(*property, std::string(property->value));
    }
    tolk::UpdateCloudHttpProxy();
  }
  static void set(const tolk::Property& property, const std::string& value) {
    tolk::Props().set(property.key, value);
  }
  static bool authenticate(MfaSessions& sessions) {
    try {
      return sessions.start({.user = "u", .program = "login", .command = {}}).summary ==
             tolk::MfaSummary::authenticated;
    } catch (const tolk::Base_Exception&) {
      return false;
    }
  }
  static void check(const Row& row, int callers);
};

void MfaWaysTest::check(const Row& row, int callers) {
  const bool proxyFails = row.way == Way::connector || row.fault == Fault::hungOnReuse;
  Answers faulty;
  if (row.fault == Fault::silent) faulty = {{.bytes = {}, .silent = true}};
  if (row.fault == Fault::tls) {
    faulty = repeated({.bytes = std::string(proxyFails ? kTunnel : "") + "no TLS at all"}, callers);
  }
  if (row.fault == Fault::serverError) {
    faulty = repeated({.bytes = "HTTP/1.1 503 No\r\nContent-Length: 0\r\n\r\n"}, callers);
  }
  if (row.fault == Fault::hungOnReuse) {
    faulty = signOns(row.way != Way::direct, 1);
    faulty.back().close = false;
    faulty.push_back({.bytes = {}, .silent = true});
  }
  std::string closed;
  {
    const Server gone({});
    closed = gone.address();
  }
  const BlackHole hole;
  const Server fault(faulty);
  std::string bad = fault.address();
  if (row.fault == Fault::dead) bad = hole.address();
  if (row.fault == Fault::refusing) bad = closed;
  const bool tls = row.fault == Fault::tls;
  const std::string badSite = (tls ? "https://" : "http://") + bad + "/";

  const Server good(signOns(row.way != Way::direct, callers + 1));
  const Server site(siteChecks(2 * callers + 2));
  const bool siteFails = !proxyFails && row.way != Way::configuredSite;
  const std::string proxy = proxyFails ? bad : good.address();
  const std::string platform = row.way == Way::direct ? "http://" + proxy + "/"
                               : tls && proxyFails    ? "https://p.test/"
                                                      : "http://p.test/";
  Connectors connectors(platform, {{proxyFails && row.way == Way::connector ? bad : "c0:1",
                                    siteFails ? badSite : site.url()},
                                   {good.address(), site.url()}});
  set(tolk::PN::CLOUD_DIRECT_CONNECTION, row.way == Way::direct ? "true" : "false");
  const bool usesProxy = row.way == Way::webProxy || row.way == Way::configuredSite;
  set(tolk::PN::CLOUD_PROXY_SERVER, usesProxy ? proxy : "");
  set(tolk::PN::CLOUD_IWA_URL_OVERRIDE, row.way == Way::configuredSite ? badSite : "");
  tolk::UpdateCloudHttpProxy();

  MfaSessions sessions;
  if (row.fault == Fault::hungOnReuse) {
    EXPECT_TRUE(authenticate(sessions));
  }
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::future<bool>> users;
  for (int i = 0; i < callers; ++i) {
    users.push_back(std::async(std::launch::async, [&] { return authenticate(sessions); }));
  }
  for (std::future<bool>& user : users) EXPECT_EQ(user.get(), row.authenticated);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  EXPECT_EQ(connectors.discarded, row.discarded);
  tolk::CloudConnPool::getInstance().reapCurls(true);
}

TEST_F(MfaWaysTest, FailureCostsTheConnectorThatFailedAndNoOther) {
  const Row rows[] = {
      {Way::connector, Fault::dead, 1, true},
      {Way::connector, Fault::refusing, 1, true},
      {Way::connector, Fault::silent, 1, true},
      {Way::connector, Fault::tls, 0, false},  // the platform's
      {Way::connector, Fault::serverError, 0, false},
      {Way::connector, Fault::hungOnReuse, 0, false},
      {Way::webProxy, Fault::dead, 1, true},
      {Way::webProxy, Fault::refusing, 1, true},
      {Way::webProxy, Fault::silent, 1, true},
      {Way::webProxy, Fault::tls, 1, true},
      {Way::webProxy, Fault::serverError, 1, true},
      {Way::webProxy, Fault::hungOnReuse, 0, false},
      {Way::direct, Fault::dead, 1, true},
      {Way::direct, Fault::refusing, 1, true},
      {Way::direct, Fault::silent, 1, true},
      {Way::direct, Fault::tls, 1, true},
      {Way::direct, Fault::serverError, 1, true},
      {Way::direct, Fault::hungOnReuse, 0, false},
      {Way::configuredSite, Fault::dead, 0, false},
      {Way::configuredSite, Fault::refusing, 0, false},
      {Way::configuredSite, Fault::silent, 0, false},
      {Way::configuredSite, Fault::tls, 0, false},
      {Way::configuredSite, Fault::serverError, 0, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("way " + std::to_string(static_cast<int>(row.way)) + ", fault " +
                 std::to_string(static_cast<int>(row.fault)));
    check(row, 1);
    // Who does not have the old connection meets a silent server.
    if (row.fault != Fault::hungOnReuse) check(row, 8);
  }
}

TEST_F(MfaWaysTest, UsersWhoThinkKeepNobodyWaiting) {
  const std::string policy =
      R"({"success":true,"Result":{"SessionId":"s","TenantId":"t","Version":"1.0","Challenges":[)"
      R"({"Mechanisms":[{"MechanismId":"m","Name":"UP","AnswerType":"Text"}]}]}})";
  const joinscope::test::PlatformServer server(
      {}, R"({"client":"v1","answers":{"security/StartAuthentication":[{"repeat":true,"json":)" +
              policy +
              R"(,"headers":{"Set-Cookie":".ASPXAUTH=ann; path=/"}}],)"
              R"("security/AdvanceAuthentication":[{"json":{"success":true,"Result":)"
              R"({"Summary":"LoginSuccess"}}}]}})");
  const Connectors connectors("http://127.0.0.1:" + std::to_string(server.port()) + "/", {});
  set(tolk::PN::CLOUD_DIRECT_CONNECTION, "true");
  set(tolk::PN::CLOUD_REST_VERSION, "1.0");
  MfaSessions sessions;
  std::string last;
  for (int i = 0; i < 12; ++i) {
    last = sessions.start({.user = "u", .program = "login", .command = {}}).session;
  }
  EXPECT_EQ(sessions.advance(last, "m", "Answer", tolk::Shredder("x")).summary,
            tolk::MfaSummary::authenticated);
  EXPECT_NE(server.records().back().find(R"("cookie":"ann")"), std::string::npos);
  tolk::CloudConnPool::getInstance().reapCurls(true);
}

}  // namespace
}  // namespace velkd
