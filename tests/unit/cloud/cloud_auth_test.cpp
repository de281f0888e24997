// Users at a strict platform, by each version of its interface.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cloud/http/cloud_conn_pool.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/signon/cloud_auth_v0.h"
#include "cloud/signon/cloud_auth_v1.h"
#include "cloud/signon/cloud_auth_v1s.h"
#include "cloud/signon/get_handler.h"
#include "tests/support/platform_server.h"
#include "tests/unit/cloud/fixed_connectors.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/cloud/raw_http_server.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/json.h"

namespace tolk::test {
namespace {

using joinscope::test::PlatformServer;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kGoodV1 =
    R"({"success":true,"Result":{"SessionId":"s1","TenantId":"t1","Version":"1.0","Challenges":[)"
    R"({"Mechanisms":[{"MechanismId":"m1","Name":"UP","AnswerType":"Text"}]},)"
    R"({"Mechanisms":[{"MechanismId":"m2","Name":"OTP","AnswerType":"StartTextOob"},)"
    R"({"MechanismId":"m3","Name":"XX","AnswerType":"StartOob"}]}]}})";

std::string summary(const std::string& word) {
  return R"({"json":{"success":true,"Result":{"Summary":")" + word + R"("}}})";
}

/// A platform that is reached directly, whose connections the pool gives up before it ends.
class Platform : public PlatformServer {
 public:
  Platform(const std::string& client, const std::string& answers, int cookieUses = 1000)
      : PlatformServer({}, R"({"client":")" + client + R"(","cookieUses":)" +
                               std::to_string(cookieUses) + R"(,"answers":{)" + answers + "}}") {}
  ~Platform() { CloudConnPool::getInstance().reapCurls(true); }

  [[nodiscard]] std::string url() const {
    return "http://127.0.0.1:" + std::to_string(port()) + "/";
  }
  /// Directly, with the site check there.
  [[nodiscard]] PlatformWay way(const std::string& site = {}) const {
    return {.platform = url(), .siteCheck = {.url = site, .principal = "HTTP/x@X.TEST"}};
  }
};

MfaRequest login(const std::string& user) {
  return {.user = user, .program = "login", .command = {}};
}

/// What a call throws, "" when it does not.
template <typename Call>
std::string failure(const Call& call) {
  try {
    call();
    return {};
  } catch (const Base_Exception& e) {
    return e.what();
  }
}

TEST(CloudAuthV1, TwoChallengesOnAnotherHost) {
  const Platform pod("v1", R"("security/StartAuthentication":[{"json":)" + std::string(kGoodV1) +
                               R"(}],"security/AdvanceAuthentication":[)" +
                               summary("StartNextChallenge") + "," + summary("OobPending") + "," +
                               summary("OobPending") + "," + summary("LoginSuccess") + "," +
                               summary("Failure") + "]");
  const Platform first(
      "v1",
      R"("security/StartAuthentication":[{"json":{"success":true,"Result":{"PodFqdn":"127.0.0.1:)" +
          std::to_string(pod.port()) + R"("}}}])");
  const std::string user = "j\"o\\\xc3\xbc@lab.test" + std::string(65536, 'x');
  CloudAuthV1 client(first.way(), login(user));
  const MfaPolicy policy = client.startAuthentication(user);
  ASSERT_EQ(policy.challenges.size(), 2U);
  EXPECT_EQ(policy.challenges[1].name, "Challenge_1");
  const MfaMechanism& password = policy.challenges[0].mechanisms[0];
  const MfaMechanism& otp = policy.challenges[1].mechanisms[0];
  EXPECT_EQ(client.advanceAuthentication("Answer", password, Shredder("p\"w")), 2);
  EXPECT_EQ(client.advanceAuthentication("StartOOB", otp, {}), 3);
  EXPECT_EQ(client.advanceAuthentication("Poll", otp, {}), 3);
  EXPECT_EQ(client.advanceAuthentication("Poll", otp, {}), 1);
  EXPECT_EQ(client.advanceAuthentication("Answer", otp, Shredder("1")), 0);
  EXPECT_THAT(first.faults(), IsEmpty());
  EXPECT_THAT(pod.faults(), IsEmpty());
  const json::Document record = json::parse(pod.records()[0]);
  const json::Document body = json::parse(json::stringMember(record, "body"));
  EXPECT_EQ(json::stringMember(body, "User"), user);
}

TEST(CloudAuthV1, UserMovesThreeTimesAtMost) {
  for (const int moves : {3, 4}) {
    std::deque<RawHttpServer::Answer> answers;
    for (int i = 0; i < moves; ++i) {
      answers.push_back(RawHttpServer::ok(R"({"success":true,"Result":{"PodFqdn":"p)" +
                                          std::to_string(i) + R"(.test"}})"));
    }
    answers.push_back(RawHttpServer::ok(kGoodV1));
    const RawHttpServer proxy(answers);
    HttpProxy all;
    all.server = proxy.address();
    all.authType = "basic";  // or it would be asked for a tunnel
    CloudAuthV1 client({.platform = "http://p.test/", .proxy = all}, login("ann"));
    EXPECT_EQ(failure([&] { (void)client.startAuthentication("ann"); }),
              moves == 3 ? "" : "Failed to startAuthentication");
  }
}

TEST(CloudAuthV1, NothingLessThanSuccessAndItsSummaryAuthenticates) {
  for (const char* answer :
       {R"({"json":{"success":true}})", R"({"json":{"success":true,"Result":{}}})",
        R"({"json":{"Result":{"Summary":"LoginSuccess"}}})",
        R"({"json":{"success":true,"Result":{"summary":"LoginSuccess"}}})",
        R"({"json":{"success":true,"Result":{"Summary":["LoginSuccess"]}}})",
        R"({"json":{"success":true,"Summary":"LoginSuccess"}})",
        R"({"status":201,"json":{"success":true,"Result":{"Summary":"LoginSuccess"}}})"}) {
    const Platform server("v1", R"("security/StartAuthentication":[{"json":)" +
                                    std::string(kGoodV1) +
                                    R"(}],"security/AdvanceAuthentication":[)" + answer + "]");
    CloudAuthV1 client(server.way(), login("ann"));
    const MfaPolicy policy = client.startAuthentication("ann");
    EXPECT_EQ(
        client.advanceAuthentication("Answer", policy.challenges[0].mechanisms[0], Shredder("x")),
        MfaSummary::failed)
        << answer;
  }
}

TEST(CloudAuthV1, MalformedPoliciesAreRefused) {
  struct Row {
    const char* from;
    const char* to;
    const char* text;
  };
  const Row rows[] = {
      {R"("success":true)", R"("success":false)", "Failed to startAuthentication"},
      {R"("SessionId":"s1",)", "", "'SessionId' does NOT exist"},
      {R"("TenantId":"t1")", R"("TenantId":1)", "'TenantId' does NOT exist"},
      {R"("Version":"1.0")", R"("Version":"2.0")", "'Version' = '2.0' but NOT V1"},
      {R"("Version":"1.0",)", "", "'Version' = '' but NOT V1"},
      {R"("Challenges")", R"("Nothing")", "no challenges exist"},
      {R"("Mechanisms")", R"("Nothing")", "'Mechanisms' does NOT exist"},
      {R"("MechanismId":"m1",)", "", "'MechanismId' does NOT exist"},
      {R"("Name":"UP")", R"("Name":[])", "'Name' does NOT exist"},
      {R"("Result")", R"("result")", "'SessionId' does NOT exist"},
      {R"("SessionId")", R"("PodFqdn":"evil/../","SessionId")", "names a host that is none"},
  };
  for (const Row& row : rows) {
    std::string answer = kGoodV1;
    answer.replace(answer.find(row.from), std::string(row.from).size(), row.to);
    const Platform server("v1", R"("security/StartAuthentication":[{"json":)" + answer + "}]");
    CloudAuthV1 client(server.way(), login("ann"));
    EXPECT_THAT(failure([&] { (void)client.startAuthentication("ann"); }), HasSubstr(row.text));
  }
  for (const char* body : {"", "[", "{}x", "null"}) {
    const Platform server(
        "v1", R"("security/StartAuthentication":[{"text":")" + std::string(body) + R"("}])");
    CloudAuthV1 client(server.way(), login("ann"));
    EXPECT_NE(failure([&] { (void)client.startAuthentication("ann"); }), "") << body;
  }
}

TEST(CloudAuthV0, PasswordThenASecondMechanism) {
  const std::string policy =
      R"("security/GetAuthPolicy":[{"json":{"success":true,"Result":{"recId":"r1","securityquestion":"Pet?","mechs":[)"
      R"({"mechId":"UP","required":"True"},{"mechId":"SMS","required":"False","fieldLabel":"Text me"},{"mechId":"SQ"}]}}}])";
  const Platform server(
      "v0", policy +
                R"(,"security/MultiAuthLogin":[{"json":{"success":true,"Result":{"recId":"r2"}}}],)"
                R"("security/MoveToNextLoginPage":[{"json":{"success":true}},)"
                R"({"json":{"success":true,"Result":{"status":"Wait"}}},)"
                R"({"json":{"success":true,"Result":{"status":"Move","code":"c0de"}}},)"
                R"({"json":{"success":true}},{"json":{"success":false}}])");
  CloudAuthV0 client(server.way(), login("ann"));
  const MfaPolicy got = client.startAuthentication("ann");
  ASSERT_EQ(got.challenges.size(), 2U);
  EXPECT_EQ(got.challenges[0].name, "Challenge1 required");
  EXPECT_EQ(got.challenges[1].name, "Challenge2 optional");
  const MfaMechanism& sms = got.challenges[1].mechanisms[0];
  EXPECT_EQ(client.getSelectText(sms), "Text me");
  EXPECT_EQ(client.getAnswerPrompt(got.challenges[1].mechanisms[1]), "Pet?\nYour answer is");
  EXPECT_EQ(client.advanceAuthentication("Answer", got.challenges[0].mechanisms[0], Shredder("pw")),
            2);
  EXPECT_EQ(client.advanceAuthentication("StartOOB", sms, {}), 3);
  EXPECT_EQ(client.advanceAuthentication("Poll", sms, {}), 3);
  EXPECT_EQ(client.advanceAuthentication("Poll", sms, {}), 1);
  EXPECT_EQ(failure([&] { (void)client.advanceAuthentication("Poll", sms, {}); }),
            "REST API for polling returns failure");
  EXPECT_THAT(server.faults(), IsEmpty());
  EXPECT_THAT(server.records()[2], HasSubstr(R"(\"recId\":\"r2\")"));
  EXPECT_THAT(server.records()[5], HasSubstr(R"(\"code\":\"c0de\")"));
}

TEST(CloudAuthV0, PoliciesWithoutExactlyOneRequiredMechanism) {
  struct Row {
    const char* mechanisms;
    const char* text;
  };
  for (const Row& row :
       {Row{R"([])", "no mechanisms exist"}, Row{R"("UP")", "no mechanisms exist"},
        Row{R"([{"mechId":"UP","required":"True"},{"mechId":"SQ","required":"True"}])",
            "there're more than one required mechanisms in REST V0"},
        Row{R"([{"required":"True"}])", "'mechId' does NOT exist"}}) {
    const Platform server(
        "v0",
        R"("security/GetAuthPolicy":[{"json":{"success":true,"Result":{"recId":"r","mechs":)" +
            std::string(row.mechanisms) + "}}}]");
    CloudAuthV0 client(server.way(), login("ann"));
    EXPECT_THAT(failure([&] { (void)client.startAuthentication("ann"); }), HasSubstr(row.text));
  }
}

constexpr const char* kSso =
    R"("security/sso":[{"headers":{"Set-Cookie":".ASPXAUTH=machine%n; path=/"},"json":{"success":true},"repeat":true}],)";
constexpr const char* kUser =
    R"({"headers":{"Set-Cookie":".ASPXAUTH=user%n; path=/"},"json":{"success":true},"repeat":true})";

RawHttpServer goodSite() {
  return RawHttpServer(RawHttpServer::siteChecks(9));
}

/// What starting version 1.0S ends with, for a user and a platform with these answers.
std::string startV1s(const std::string& answers, const std::string& command = {}) {
  const Platform server("v1s", kSso + answers);
  const RawHttpServer site = goodSite();
  CloudAuthV1S client(server.way(site.url()),
                      {.user = "ann", .program = "sudo", .command = command});
  const std::string text = failure([&] { (void)client.startAuthentication("ann"); });
  EXPECT_THAT(server.faults(), IsEmpty());
  return text;
}

// Each cookie is good for two requests: the machine's for two impersonations, each user's for the
// endpoint and the challenge.
TEST(CloudAuthV1S, MachineThenUserThenChallengeThenEndpoint) {
  const std::string required =
      R"({"json":{"success":false,"ErrorID":"ChallengeRequired","Result":{"ChallengeId":"ch"}}})";
  const Platform server("v1s",
                        std::string(kSso) + R"("security/startimpersonate":[)" + kUser +
                            R"(],"tqsintegration/mfalogin":[)" + required + "," + required +
                            R"(,{"json":{"success":true}}],"security/startchallenge":[{"json":)" +
                            kGoodV1 + R"(,"repeat":true}],"security/AdvanceAuthentication":[)" +
                            summary("Success") + "," + summary("Success") + "]",
                        2);
  const RawHttpServer site = goodSite();
  CloudAuthV1S client(server.way(site.url()), login("ann"));
  const MfaPolicy policy = client.startAuthentication("ann");
  ASSERT_EQ(policy.challenges.size(), 2U);
  const MfaMechanism& password = policy.challenges[0].mechanisms[0];
  EXPECT_EQ(client.advanceAuthentication("Answer", password, Shredder("x")), MfaSummary::newPolicy);
  EXPECT_EQ(client.policy().challenges.size(), 2U);
  EXPECT_EQ(client.advanceAuthentication("Answer", password, Shredder("x")),
            MfaSummary::authenticated);
  EXPECT_EQ(site.requests().size(), 2U);
  EXPECT_THAT(server.faults(), IsEmpty());
}

TEST(CloudAuthV1S, WhatPeopleAreToldOfFailures) {
  const std::string user = std::string(R"("security/startimpersonate":[)") + kUser + "],";
  EXPECT_EQ(startV1s(user + R"("tqsintegration/mfalogin":[{"json":{"success":true}}])"), "");
  EXPECT_THAT(startV1s(R"("security/startimpersonate":[{"status":403}])"),
              HasSubstr("'Computer Right and Privilege Elevation'"));
  // Success, and still the machine's cookie.
  EXPECT_THAT(startV1s(R"("security/startimpersonate":[{"json":{"success":true}}])"),
              StartsWith("Pellion Identity Platform failed to authenticate user 'ann'."));
  EXPECT_THAT(
      startV1s(user + R"("tqsintegration/mfalogin":[{"json":{"ErrorID":"NotConfigured"}}])"),
      StartsWith("Pellion MFA Service cannot authenticate user 'ann' because"));
  EXPECT_THAT(
      startV1s(user + R"("tqsintegration/krunexecute":[{"json":{"ErrorID":"NotConfigured"}}])",
               "ls"),
      HasSubstr("privilege elevation command execution (krun). Contact"));
  EXPECT_THAT(startV1s(user + R"("tqsintegration/mfalogin":[{"status":401,"repeat":true}])"),
              HasSubstr("authenticate the UNIX server"));
  EXPECT_THAT(
      startV1s(user + R"("tqsintegration/mfalogin":[{"json":{"ErrorID":"ChallengeRequired"}}],)"
                      R"("security/startchallenge":[{"json":{"success":false}}])"),
      StartsWith("Pellion Identity Platform failed to authenticate user 'ann'."));
}

TEST(CloudAuthV1S, MachineThatCannotSignOn) {
  struct Row {
    RawHttpServer::Answer site;
    const char* text;
  };
  for (const Row& row :
       {Row{{.bytes = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"}, "Please verify that"},
        Row{RawHttpServer::ok("no braces"), "Please verify that"},
        Row{RawHttpServer::ok(R"({"result":"failure"})"), "authenticate the UNIX server"},
        Row{RawHttpServer::ok(R"({"result":"success"})"), "Internal error. Error message: "},
        Row{{.bytes = "", .close = true}, "Please verify network connectivity"}}) {
    const Platform server("v1s", R"("x":[])");
    const RawHttpServer site({row.site});
    CloudAuthV1S client(server.way(site.url()), login("ann"));
    try {
      (void)client.startAuthentication("ann");
      FAIL() << row.text;
    } catch (const CloudIwaException& e) {
      EXPECT_THAT(e.what(), HasSubstr(row.text));
    }
  }
}

TEST(MfaTexts, OfTheMechanism) {
  struct Row {
    MfaMechanism mechanism;
    const char* select;
    const char* prompt;
  };
  const Row rows[] = {
      {{.name = "UP"}, "User Password", "Please enter user password: "},
      {{.name = "SMS", .partialDeviceAddress = "12"},
       "SMS verification code is sent to mobile phone: XXXX12",
       "A text message is sent to your phone(XXXX12).\nPlease enter the code or click on the link "
       "in the message to proceed: "},
      {{.name = "SQ", .question = "Pet?"}, "Answer Security Question", "Pet?\nYour answer is: "},
      {{.name = "??"}, "", "Sorry. This mechanism is not supported."},
      {{.name = "UP", .answerType = "Text", .promptSelectMech = "S", .promptMechChosen = "P"},
       "S",
       "P: "},
      {{.name = "OTP", .answerType = "StartOob", .promptMechChosen = "P"},
       "Pellion Mobile Authenticator",
       "P. After that, please press <enter> to finish authentication."},
      {{.name = "OTP", .answerType = "StartTextOob", .promptMechChosen = "P"},
       "Pellion Mobile Authenticator",
       "P. After that, please press <enter> to finish authentication: "},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(selectText(row.mechanism), row.select);
    EXPECT_EQ(answerPrompt(row.mechanism), row.prompt);
  }
}

TEST(GetHandler, PicksTheVersionAndNeedsAWay) {
  FixedConnectors connectors("http://p.test/", "http://i.test/");
  EXPECT_EQ(failure([] { (void)getHandler(login("ann")); }),
            "Cloud web proxy is not configured correctly.");
  connectors.connector = "c.test:8080";
  const auto is = [](const char* version, auto* kind) {
    Props().set(PN::CLOUD_REST_VERSION, version);
    const std::unique_ptr<CloudAuth> client = getHandler(login("ann"));
    return dynamic_cast<decltype(kind)>(client.get()) != nullptr;
  };
  CloudAuthV0* v0 = nullptr;
  CloudAuthV1S* v1s = nullptr;
  EXPECT_TRUE(is("0", v0));
  EXPECT_FALSE(is("1.0", v1s));
  EXPECT_TRUE(is("1.0S", v1s));
  EXPECT_TRUE(is("9", v1s));
}

}  // namespace
}  // namespace tolk::test
