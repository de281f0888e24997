// What the daemon answers to whom.
#include "velkd/service.h"
#include "velkd/mfa_sessions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <future>

#include "tests/support/platform_server.h"
#include "tests/unit/cloud/fixed_connectors.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/rpc/daemon_protocol.h"
#include "velkd/rpc_error.h"

namespace velkd {
namespace {

constexpr uid_t kTester = 1500;
constexpr const char* kAnn = R"({"user":"ann","program":"login","command":""})";

tolk::MfaStep stepOf(const std::string& answer) {
  return tolk::mfaStepFromJson(*tolk::json::findMember(tolk::json::parse(answer), "parameters"));
}

class ServiceTest : public testing::Test {
 protected:
  ~ServiceTest() override { EXPECT_TRUE(worker_.stop(std::chrono::seconds(20))); }

  /// The answer, also when it comes late.
  std::string ask(const std::string& text, uid_t uid = 0) {
    const Outcome outcome = service_.handle(
        {.connection = 7, .call = 3, .caller = {.uid = uid, .pid = 1}, .text = text});
    if (outcome.answer) return *outcome.answer;
    pollfd one{mailbox_.fd(), POLLIN, 0};
    constexpr std::chrono::seconds kLimit{20};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        std::min(outcome.patience.end, Clock::now() + kLimit) - Clock::now());
    if (::poll(&one, 1, static_cast<int>(left.count())) != 1) {
      return outcome.patience.answer ? outcome.patience.answer() : "<silence>";
    }
    const std::vector<Letter> letters = mailbox_.takeAll();
    EXPECT_EQ(letters.size(), 1U);
    EXPECT_EQ(letters.front().connection, 7U);
    EXPECT_EQ(letters.front().call, 3U);
    return letters.front().text;
  }
  std::string call(const std::string& method, const std::string& parameters, uid_t uid = 0) {
    return ask(R"({"method":"org.orvald.velkd.)" + method + R"(","parameters":)" + parameters + "}",
               uid);
  }

  struct Desk : CloudDesk {
    void askInstance(std::function<void(const CloudInstance&)> done) override {
      done({.code = CloudInstance::Code::throughProxy, .text = "https://p/,proxy:1"});
    }
    bool authenticate(std::function<void(MfaSessions&)> work) override {
      if (enabled) work(sessions);
      return enabled;
    }
    bool logEvent(PrivilegeEvent event) override {
      events.push_back(std::move(event));
      return enabled;
    }
    bool enabled = true;
    MfaSessions sessions;
    std::vector<PrivilegeEvent> events;
  };

  StatusBoard board_;
  Mailbox mailbox_;
  Desk cloud_;
  Worker worker_{Places(4, 0),
                 [] { return std::chrono::steady_clock::now() + std::chrono::hours(1); }};
  FetchCall fetched_;
  std::function<void()> look_ = [] {};
  Service::Fetch fetch_ = [](const FetchCall&) { return R"({"parameters":{}})"; };
  Service service_{board_,
                   worker_,
                   [this](const FetchCall& c) {
                     fetched_ = c;
                     return fetch_(c);
                   },
                   [this](Clock::time_point) { look_(); },
                   cloud_,
                   mailbox_};
};

TEST_F(ServiceTest, CallerIsWhoTheKernelSays) {
  EXPECT_EQ(call("Authenticate", "{}"), R"({"parameters":{"uid":0,"privileged":true}})");
  EXPECT_EQ(call("Authenticate", R"({"uid":0})", kTester),
            R"({"parameters":{"uid":1500,"privileged":false}})");
}

TEST_F(ServiceTest, CloudIsForRoot) {
  EXPECT_EQ(call("GetCloudInstance", "{}"),
            R"({"parameters":{"code":2,"text":"https://p/,proxy:1"}})");
  const std::string event = R"({"fields":[{"key":"b","value":"1"},{"key":"a","value":"2"}]})";
  EXPECT_EQ(call("LogPrivilegeEvent", event), R"({"parameters":{}})");
  ASSERT_EQ(cloud_.events.size(), 1U);
  EXPECT_EQ(cloud_.events[0], (PrivilegeEvent{{"b", "1"}, {"a", "2"}}));
  const std::string advance = R"({"session":"none","choice":"c","action":"Answer","answer":"s"})";
  EXPECT_THAT(call("AdvanceMfa", advance), testing::HasSubstr("is not known, or it took too long"));
  EXPECT_THAT(call("AdvanceMfa", R"({"session":"","choice":"","action":"Guess","answer":""})"),
              testing::HasSubstr(R"("parameter":"action")"));
  for (const char* method : {"GetCloudInstance", "LogPrivilegeEvent", "StartMfa", "AdvanceMfa"}) {
    EXPECT_THAT(call(method, event, kTester), testing::HasSubstr("PermissionDenied"));
  }
  EXPECT_EQ(cloud_.events.size(), 1U);
  cloud_.enabled = false;
  EXPECT_THAT(call("LogPrivilegeEvent", event), testing::HasSubstr("CloudFailed"));
  EXPECT_THAT(call("LogPrivilegeEvent", R"({"fields":[{"key":"b"}]})"),
              testing::HasSubstr("InvalidParameter"));
}

TEST_F(ServiceTest, AuthenticationTriesThreeConnectorsAndEndsWithTheLastChallenge) {
  const joinscope::test::PlatformServer platform(
      {},
      R"({"client":"v1","answers":{"security/StartAuthentication":[{"json":{"success":true,"Result":)"
      R"({"SessionId":"s","TenantId":"t","Version":"1.0","Challenges":[{"Mechanisms":[)"
      R"({"MechanismId":"m","Name":"OTP","AnswerType":"StartOob"}]}]}}}],)"
      R"("security/AdvanceAuthentication":[)"
      R"({"json":{"success":true,"Result":{"Summary":"StartNextChallenge"}}}]}})");
  tolk::test::FixedConnectors connectors(
      "http://127.0.0.1:" + std::to_string(platform.port()) + "/", "");
  connectors.connector = "127.0.0.1:1";
  tolk::Props().set(tolk::PN::CLOUD_REST_VERSION, "1.0");
  EXPECT_THAT(call("StartMfa", kAnn), testing::HasSubstr("CloudFailed"));
  EXPECT_EQ(connectors.failures, 3);
  tolk::Props().set(tolk::PN::CLOUD_DIRECT_CONNECTION, "true");
  const tolk::MfaStep first = stepOf(call("StartMfa", kAnn));
  ASSERT_EQ(first.choices.size(), 1U);
  EXPECT_TRUE(first.choices[0].outOfBand);
  EXPECT_FALSE(first.choices[0].takesText);
  cloud_.sessions.dropOld();  // it is not old
  const std::string answer = R"(","choice":"m","action":"Answer","answer":"x"})";
  // The platform goes on to a challenge that it has not announced.
  EXPECT_EQ(stepOf(call("AdvanceMfa", R"({"session":")" + first.session + answer)).summary,
            tolk::MfaSummary::failed);
  tolk::Props().set(tolk::PN::CLOUD_DIRECT_CONNECTION, "false");
}

TEST_F(ServiceTest, WhatIsNotKnownIsNamed) {
  struct Row {
    const char* message;
    const char* answer;
  };
  for (
      const Row& row : {
          Row{R"({"method":"org.orvald.velkd.Nope"})",
              R"({"error":"org.varlink.service.MethodNotFound","parameters":{"method":"org.orvald.velkd.Nope"}})"},
          Row{R"({"method":"org.example.Do"})",
              R"({"error":"org.varlink.service.InterfaceNotFound","parameters":{"interface":"org.example"}})"},
          Row{R"({"method":"org.orvald.velkd.GetSystemInfo","parameters":{"modules":-1}})",
              R"({"error":"org.varlink.service.InvalidParameter","parameters":{"parameter":"modules"}})"},
          Row{R"({"method":"org.orvald.velkd.GetSystemInfo","parameters":[]})",
              R"({"error":"org.varlink.service.InvalidParameter","parameters":{"parameter":"parameters"}})"},
          Row{R"({"method":"org.orvald.velkd.FetchObject","parameters":{"server":"","dn":7}})",
              R"({"error":"org.varlink.service.InvalidParameter","parameters":{"parameter":"dn"}})"},
          Row{R"({"method":"org.orvald.velkd.FetchObject","parameters":{"server":"","dn":"a\u0000b","attributes":[]}})",
              R"({"error":"org.varlink.service.InvalidParameter","parameters":{"parameter":"dn"}})"},
          Row{R"({"method":"org.orvald.velkd.FetchObject","parameters":{"server":"","dn":"","attributes":["cn\nsn"]}})",
              R"({"error":"org.varlink.service.InvalidParameter","parameters":{"parameter":"attributes"}})"},
          Row{R"({"method":"org.orvald.velkd.\u001b\n"})",
              R"({"error":"org.varlink.service.MethodNotFound","parameters":{"method":"org.orvald.velkd.\\x1B\\x0A"}})"},
          Row{R"({"method":"org.varlink.service.GetInterfaceDescription","parameters":{"interface":"x.y"}})",
              R"({"error":"org.varlink.service.InterfaceNotFound","parameters":{"interface":"x.y"}})"},
      }) {
    EXPECT_EQ(ask(row.message), row.answer);
  }
}

TEST_F(ServiceTest, WhatIsNoCallEndsTheConnection) {
  const std::string deep = std::string(40, '[') + std::string(40, ']');
  for (const std::string& text :
       {std::string("junk"), std::string("[]"), std::string("{}"), std::string(R"({"method":1})"),
        std::string("\xff\xfe"), R"({"method":"x.y","parameters":)" + deep + "}"}) {
    EXPECT_THROW(ask(text), tolk::BadDataException) << text;
  }
}

TEST_F(ServiceTest, FetchCarriesCallAndPrivilegeToTheWorker) {
  EXPECT_EQ(call("FetchObject",
                 R"({"server":"dc1","dn":"CN=x","attributes":["cn","sn"],"fresh":true})", kTester),
            R"({"parameters":{}})");
  EXPECT_FALSE(fetched_.privileged);
  EXPECT_EQ(fetched_.server, "dc1");
  EXPECT_EQ(fetched_.dn, "CN=x");
  EXPECT_EQ(fetched_.attributes, (std::vector<std::string>{"cn", "sn"}));
  EXPECT_TRUE(fetched_.fresh);
  EXPECT_EQ(ask(R"({"method":"org.orvald.velkd.FetchObject","oneway":true,)"
                R"("parameters":{"server":"","dn":"CN=x","attributes":[]}})"),
            "");
}

TEST_F(ServiceTest, FailuresOfTheDirectoryBecomeErrors) {
  constexpr const char* kCall = R"({"server":"","dn":"CN=x","attributes":[]})";
  fetch_ = [](const FetchCall&) -> std::string {
    throw RpcError(tolk::daemon_error::kNotJoined, "no domain");
  };
  EXPECT_EQ(call("FetchObject", kCall),
            R"({"error":"org.orvald.velkd.NotJoined","parameters":{"message":"no domain"}})");
  fetch_ = [](const FetchCall&) -> std::string { throw std::runtime_error("broken\xff"); };
  EXPECT_EQ(
      call("FetchObject", kCall),
      R"({"error":"org.orvald.velkd.DirectoryFailed","parameters":{"message":"broken\\xFF"}})");
}

TEST_F(ServiceTest, IdentifiersAreForRootAndStillGatheredUntilKnown) {
  EXPECT_EQ(call("GetDomainIdentifiers", "{}", kTester),
            R"({"error":"org.orvald.velkd.PermissionDenied","parameters":{"message":)"
            R"("Only root may read the domain identifier ranges."}})");
  EXPECT_NE(call("GetDomainIdentifiers", "{}").find("velkd.NotJoined"), std::string::npos);
  board_.update([](DirectoryStatus& status) { status.joined = true; });
  EXPECT_NE(call("GetDomainIdentifiers", "{}").find("velkd.StillGathering"), std::string::npos);
  board_.update([](DirectoryStatus& status) { status.lastFailure = "The account is disabled."; });
  EXPECT_EQ(call("GetDomainIdentifiers", "{}"),
            R"({"error":"org.orvald.velkd.DirectoryFailed","parameters":{"message":)"
            R"("The domain identifier ranges are not known yet. The account is disabled."}})")
      << "there is nothing to wait for without a connection";
  board_.update([](DirectoryStatus& status) { status.connected = true; });
  EXPECT_NE(call("GetDomainIdentifiers", "{}").find("velkd.StillGathering"), std::string::npos);
  board_.update([](DirectoryStatus& status) {
    status.rangesKnown = true;
    status.ranges = {{"B.TEST", "1-2"}, {"A.TEST", "none left"}};
  });
  EXPECT_EQ(call("GetDomainIdentifiers", "{}"),
            R"({"parameters":{"ranges":[{"key":"A.TEST","value":"none left"},)"
            R"({"key":"B.TEST","value":"1-2"}]}})");
}

TEST_F(ServiceTest, HealthIsLookedAtAnewAndWaitsForNoBusyWorker) {
  const auto health = [this] { return call("GetSystemInfo", R"({"modules":2048})"); };
  look_ = [this] {  // the first one, which connects
    board_.update([](DirectoryStatus& status) {
      status.joined = status.connected = true;
      status.object = ObjectState::disabled;
    });
  };
  EXPECT_THAT(health(), testing::HasSubstr("The computer object is disabled."));
  tolk::Props().set(tolk::PN::VELKD_RPC_TIMEOUT, "0.2");
  std::promise<void> over;
  look_ = [&over] { over.get_future().wait(); };
  EXPECT_THAT(health(), testing::HasSubstr("The directory has not answered in time."));
  EXPECT_EQ(call("FetchObject", R"({"server":"","dn":"CN=x","attributes":[]})"),
            R"({"error":"org.orvald.velkd.DirectoryFailed","parameters":{"message":)"
            R"("The directory has not answered in time."}})");
  over.set_value();
  tolk::Props().set(tolk::PN::VELKD_RPC_TIMEOUT, "10");
}

TEST_F(ServiceTest, CountersCountWhileTheyAreOnAndOnlyRootSwitchesThem) {
  const auto counted = [this] {
    const std::string text = call("GetSystemInfo", R"({"modules":128})");
    return text.find("Authenticate: 1 calls, 0 errors") != std::string::npos;
  };
  (void)call("Authenticate", "{}");
  EXPECT_FALSE(counted());
  EXPECT_NE(call("GetSystemInfo", R"({"modules":256})", kTester).find("PermissionDenied"),
            std::string::npos);
  (void)call("GetSystemInfo", R"({"modules":256})");
  (void)call("Authenticate", "{}");
  EXPECT_TRUE(counted());
  (void)call("GetSystemInfo", R"({"modules":512})");
  (void)call("Authenticate", "{}");
  EXPECT_TRUE(counted()) << "what was counted stays, and nothing is added";
}

}  // namespace
}  // namespace velkd
