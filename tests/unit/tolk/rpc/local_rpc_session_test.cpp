// The session against a small server on a real socket that answers well, badly, late or not at all.
#include "tolk/rpc/local_rpc_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <list>
#include <optional>

#include "tests/support/failure_of.h"
#include "tests/unit/tolk/base/child_process.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tests/unit/tolk/rpc/scripted_daemon.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/no_cache_mode.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/troubles.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/orv_session.h"
#include "tolk/rpc/wire_object.h"

namespace tolk {
namespace {

using namespace std::string_literals;
using joinscope::test::listenAt;
using test::failureOf;
using test::ScriptedDaemon;
using testing::HasSubstr;

class Session : public testing::Test {
 protected:
  void SetUp() override { Props().set(PN::VELKD_RPC_TIMEOUT, "20"); }

  // What asking a daemon with these answers throws.
  std::string failureWith(std::vector<std::string> answers) {
    const ScriptedDaemon daemon(socket_, std::move(answers));
    LocalRpcSession session(directory_.path());
    std::filesystem::remove(socket_);
    return failureOf<IPCException>([&] { (void)session.getCurrentDC(); });
  }

  // What comes of connecting only.
  static std::string connectFailure(const std::string& directory) {
    return failureOf<IOException>([&] { const LocalRpcSession session(directory); });
  }

  ScratchDirectory directory_;
  std::string socket_ = directory_.path("velkd.sock");
};

TEST_F(Session, CallsAndAnswers) {
  ScriptedDaemon daemon(socket_, {R"({"parameters":{"uid":0}})" + "\0"s,
                                  R"({"parameters":{"host":"dc1.example.com"}})" + "\0"s,
                                  R"({"parameters":{"text":"a\nb"}})" + "\0"s,
                                  R"({"parameters":{"object":{"dn":"CN=host1","attributes":[)"
                                  R"({"name":"objectGUID","values":[{"base64":"//4="}]}]}}})" +
                                      "\0"s,
                                  R"({"parameters":{}})" + "\0"s,
                                  R"({"parameters":{"code":2,"text":"https://c,p:1"}})" + "\0"s,
                                  R"({"parameters":{"code":2147483648,"text":""}})" + "\0"s});
  LocalRpcSession session(directory_.path());
  session.authenticateProcess();
  EXPECT_EQ(session.getCurrentDC(), "dc1.example.com");
  EXPECT_EQ(session.getSystemInfo(0xFFFFFFBF), "a\nb");
  const auto object = session.ldapFetch("dc1", "CN=host1", {"cn", "sn"}, true);
  ASSERT_TRUE(object);
  EXPECT_EQ(object->dn(), "CN=host1");
  EXPECT_EQ(object->getString("OBJECTGUID", ""), "\xFF\xFE");
  EXPECT_FALSE(session.ldapFetch("", "CN=other", {}, false));
  std::string cloud;
  EXPECT_EQ(session.getORBInfo(cloud), 2);
  EXPECT_EQ(cloud, "https://c,p:1");
  EXPECT_THROW((void)session.getORBInfo(cloud), IPCException) << "no number of ours is so large";
  const std::vector<std::string> expected{
      R"({"method":"org.orvald.velkd.Authenticate","parameters":{}})",
      R"({"method":"org.orvald.velkd.GetCurrentDC","parameters":{}})",
      R"({"method":"org.orvald.velkd.GetSystemInfo","parameters":{"modules":4294967231}})",
      R"({"method":"org.orvald.velkd.FetchObject","parameters":)"
      R"({"server":"dc1","dn":"CN=host1","attributes":["cn","sn"],"fresh":true}})",
      R"({"method":"org.orvald.velkd.FetchObject","parameters":)"
      R"({"server":"","dn":"CN=other","attributes":[],"fresh":false}})",
      R"({"method":"org.orvald.velkd.GetCloudInstance","parameters":{}})",
      R"({"method":"org.orvald.velkd.GetCloudInstance","parameters":{}})",
  };
  EXPECT_EQ(daemon.calls(), expected);
}

TEST_F(Session, BadAnswersAreToldApart) {
  struct Row {
    const char* about;
    std::string bytes;
    int code;
    std::string text;
  };
  const Row rows[] = {
      {"error with a message",
       R"({"error":"org.orvald.velkd.NotJoined","parameters":{"message":"x)"
       "\\u001b"
       R"(y"}})" +
           "\0"s,
       IpcError::kErrorAnswer,
       "velkd, org.orvald.velkd.GetCurrentDC: org.orvald.velkd.NotJoined: x\\x1By"},
      {"error alone", R"({"error":"org.varlink.service.MethodNotFound"})" + "\0"s,
       IpcError::kErrorAnswer, "org.varlink.service.MethodNotFound"},
      {"half an answer", R"({"parameters":{"host")", IpcError::kEndOfStream, "in mid-message"},
      {"nothing", "", IpcError::kEndOfStream, "closed the connection"},
      {"empty message", "\0"s, IpcError::kBadMessage, "Bad JSON at byte 0"},
      {"no object", "[]\0"s, IpcError::kBadMessage, "no JSON object"},
      {"parameters no object", R"({"parameters":[]})" + "\0"s, IpcError::kBadMessage,
       "parameters are no object"},
      {"missing member", R"({"parameters":{}})" + "\0"s, IpcError::kBadMessage,
       "\"host\" is missing"},
      {"wrong type", R"({"parameters":{"host":7}})" + "\0"s, IpcError::kBadMessage, "is no string"},
      {"error no text", R"({"error":{}})" + "\0"s, IpcError::kBadMessage, "error is no name"},
      {"oversize", std::string(kMaxMessageBytes + 1, ' '), IpcError::kTooLarge, "16777216 bytes"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    EXPECT_THAT(failureWith({row.bytes}),
                testing::AllOf(testing::StartsWith(std::to_string(row.code) + " velkd, "),
                               HasSubstr(row.text)));
  }
}

TEST_F(Session, SilenceEndsAtTheConfiguredLimitAndTheSessionWithIt) {
  Props().set(PN::VELKD_RPC_TIMEOUT, "0.1");
  const UniqueFd mute = listenAt(socket_);
  LocalRpcSession session(directory_.path());
  const auto ask = [&] { (void)session.getCurrentDC(); };
  EXPECT_THAT(failureOf<IPCException>(ask),
              testing::AllOf(testing::StartsWith(std::to_string(IpcError::kTimeout)),
                             HasSubstr("(velkd.rpc.timeout, 100 ms)")));
  Props().set(PN::VELKD_RPC_TIMEOUT, "10");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(failureOf<IPCException>(ask), HasSubstr("stayed silent before"));
  LocalRpcSession next(directory_.path());
  EXPECT_THAT(failureOf<IPCException>([&] { (void)next.getCurrentDC(); }),
              testing::AllOf(testing::StartsWith(std::to_string(IpcError::kTimeout)),
                             HasSubstr("stayed silent before (100 ms)")));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(Session, ACallThatIsSlowDoesNotSilenceTheOthersUnlessNobodyIsThere) {
  Props().set(PN::VELKD_RPC_TIMEOUT, "0.1");
  const auto object = [this] {
    (void)LocalRpcSession(directory_.path()).ldapFetch("", "CN=x", {}, true);
  };
  const auto controller = [this] { return LocalRpcSession(directory_.path()).getCurrentDC(); };
  {
    const UniqueFd mute = listenAt(socket_);
    EXPECT_THAT(failureOf<IPCException>(object), HasSubstr("100 ms"));
    std::filesystem::remove(socket_);
  }
  {
    const ScriptedDaemon daemon(socket_, {R"({"parameters":{"host":"dc1"}})" + "\0"s});
    EXPECT_EQ(controller(), "dc1");
    std::filesystem::remove(socket_);
  }
  const UniqueFd mute = listenAt(socket_);
  EXPECT_THAT(failureOf<IPCException>([this] { LocalRpcSession(directory_.path(), false, true); }),
              HasSubstr("Authenticate"));
  EXPECT_THAT(failureOf<IPCException>([&] { (void)controller(); }),
              HasSubstr("stayed silent before"));
  Props().set(PN::VELKD_RPC_TIMEOUT, "10");
}

TEST_F(Session, WithTheCacheOffEveryReadAsksForTheDirectory) {
  Props(false, false).set(PN::TOLKD_CACHE_DISABLE, "true");
  NoCacheMode::reset();
  ScriptedDaemon daemon(socket_,
                        {R"({"parameters":{"object":null,"reason":"Not of lab.test."}})" + "\0"s});
  LocalRpcSession session(directory_.path());
  (void)takeTroubles();
  EXPECT_FALSE(session.ldapFetch("", "CN=x", {}, false));
  EXPECT_THAT(daemon.calls().front(), HasSubstr(R"("fresh":true)"));
  EXPECT_THAT(takeTroubles(), testing::ElementsAre("velkd: Not of lab.test."));
  Props(false, false).set(PN::TOLKD_CACHE_DISABLE, "false");
  NoCacheMode::reset();
}

TEST_F(Session, GoesOnAfterAnErrorAnswer) {
  const ScriptedDaemon daemon(socket_, {R"({"error":"org.orvald.velkd.NotJoined"})" + "\0"s,
                                        R"({"parameters":{"host":"dc1"}})" + "\0"s});
  LocalRpcSession session(directory_.path());
  EXPECT_THROW((void)session.getCurrentDC(), IPCException);
  EXPECT_EQ(session.getCurrentDC(), "dc1");
}

TEST_F(Session, ADaemonThatCannotBeReachedIsAnIoException) {
  const auto starts = [](int code) { return testing::StartsWith(std::to_string(code) + " "); };
  EXPECT_THAT(connectFailure(directory_.path()),
              testing::AllOf(starts(ENOENT), HasSubstr(" Cannot reach velkd at " + socket_)));
  EXPECT_THAT(connectFailure("/" + std::string(200, 'x')), starts(ENAMETOOLONG));
  directory_.write("velkd.sock", "no socket");
  EXPECT_THAT(connectFailure(directory_.path()), starts(ECONNREFUSED));
  std::filesystem::remove(socket_);
  listenAt(socket_).reset();  // what a daemon that died leaves
  EXPECT_THAT(connectFailure(directory_.path()), starts(ECONNREFUSED));
}

TEST_F(Session, AFullQueueOfWaitingClientsDoesNotBlock) {
  const UniqueFd listener = listenAt(socket_, 0);
  std::list<LocalRpcSession> waiting;
  const std::string failure = failureOf<IOException>([&] {
    for (int i = 0; i < 10; ++i) waiting.emplace_back(directory_.path(), false, false);
  });
  EXPECT_THAT(failure, testing::StartsWith(std::to_string(EAGAIN) + " "));
}

TEST_F(Session, WaitsForADaemonThatIsStarting) {
  std::optional<ScriptedDaemon> daemon;
  std::thread starting(
      [&] { daemon.emplace(socket_, std::vector{R"({"parameters":{"uid":0}})" + "\0"s}); });
  EXPECT_NO_THROW(LocalRpcSession(directory_.path(), true, true));
  starting.join();
}

TEST_F(Session, AnotherUsersProcessIsNoDaemon) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  std::filesystem::permissions(directory_.path(), std::filesystem::perms::all);
  std::optional<UniqueFd> listener;
  const ChildProcess impostor([&] {
    if (::setresuid(65534, 65534, 65534) == 0) listener = listenAt(socket_);
  });
  EXPECT_THAT(failureOf<IPCException>([&] { LocalRpcSession(directory_.path()); }),
              testing::AllOf(HasSubstr(std::to_string(IpcError::kForeignDaemon) + " "),
                             HasSubstr("user 65534")));
}

TEST_F(Session, DomainIdentifiersMayComeLaterAndInOneShapeOnly) {
  const std::string gathering = R"({"error":"org.orvald.velkd.StillGathering","parameters":{}})";
  ScriptedDaemon daemon(
      socket_,
      {gathering + "\0"s, R"({"parameters":{"ranges":[{"key":"LAB.TEST","value":"100-199"},)"
                          R"({"key":"A.LAB.TEST","value":""}]}})" +
                              "\0"s});
  const auto starts = [](int code) { return testing::StartsWith(std::to_string(code) + " "); };
  LocalRpcSession session(directory_.path(), false, false);
  const auto ask = [&] { return session.getDomainIdentifiers(); };
  EXPECT_THAT(failureOf<IPCException>(ask), starts(IpcError::kStillGathering));
  EXPECT_THAT(ask(), testing::ElementsAre(testing::Pair("LAB.TEST", "100-199"),
                                          testing::Pair("A.LAB.TEST", "")));
  EXPECT_EQ(daemon.calls().back(),
            R"({"method":"org.orvald.velkd.GetDomainIdentifiers","parameters":{}})");
  for (const char* parameters :
       {"{}", R"({"ranges":5})", R"({"ranges":[5]})", R"({"ranges":[{"key":"A"}]})",
        R"({"ranges":[{"key":1,"value":""}]})"}) {
    std::filesystem::remove(socket_);
    const ScriptedDaemon other(socket_, {R"({"parameters":)" + std::string(parameters) + "}\0"s});
    LocalRpcSession next(directory_.path(), false, false);
    EXPECT_THAT(failureOf<IPCException>([&] { return next.getDomainIdentifiers(); }),
                starts(IpcError::kBadMessage))
        << parameters;
  }
}

TEST(OrvSession, RefusesBadArguments) {
  OrvSession* session = nullptr;
  OrvKeyValue* set = nullptr;
  EXPECT_EQ(orvSessionOpen(2, 21, &session), OrvCode::kBadArgument);
  EXPECT_EQ(orvSessionOpen(1, 21, nullptr), OrvCode::kBadArgument);
  EXPECT_EQ(orvGetDomainRids(nullptr, &set), OrvCode::kBadArgument);
  orvSessionClose(nullptr);
  orvFreeKeyValueSet(nullptr);
  EXPECT_STREQ(orvGetOrvCodeStr(OrvCode::kRefused), "The agent daemon answered with an error");
  EXPECT_STREQ(orvGetOrvCodeStr(-5), "Unknown failure");
}

}  // namespace
}  // namespace tolk
