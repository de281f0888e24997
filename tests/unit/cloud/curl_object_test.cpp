// Transfers against servers that send what they should not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/curl_object.h"
#include "cloud/http/proxy_auth.h"
#include "cloud/signon/cloud_json.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/cloud/raw_http_server.h"
#include "tolk/base/json.h"

namespace tolk::test {
namespace {

using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Server = RawHttpServer;

/// The code of the failure, 0 without one.
int failureOf(CurlObject& transfer, const std::string& url) {
  try {
    transfer.makeRequest(url, {}, false);
    return 0;
  } catch (const CurlException& e) {
    return e.code();
  }
}

TEST(CurlObject, SendsEachRequestOnceAndAsItIs) {
  const Server server({Server::ok("a"), Server::ok("b"), Server::ok("c"), Server::ok("d")});
  CurlObject transfer;
  transfer.addHeader("X-Two", "2");
  transfer.addHeader("X-One", "1");
  transfer.addHeader("X-Two", "two");
  const std::string body("{\"n\":\"\0\"}", 9);
  transfer.makeRequest(server.url("/post"), body, true);
  transfer.makeRequest(server.url("/get"), {}, false);
  transfer.addHeader("X-One", "one");
  transfer.makeRequest(server.url("/get"), {}, false);
  transfer.makeRequest(server.url("/empty"), {}, true);
  EXPECT_EQ(transfer.responseCode(), 200);
  EXPECT_EQ(transfer.responseBody(), "d");
  EXPECT_EQ(transfer.responseHeaders().front(), "HTTP/1.1 200 OK\r\n");
  const std::vector<std::string> requests = server.requests();
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_THAT(requests[0], StartsWith("POST /post HTTP/1.1\r\n"));
  EXPECT_THAT(requests[0], HasSubstr("Content-Length: 9\r\nX-One: 1\r\nX-Two: two\r\n"));
  EXPECT_THAT(requests[0], Not(HasSubstr("chunked")));
  EXPECT_TRUE(requests[0].ends_with(body));
  EXPECT_THAT(requests[1], StartsWith("GET /get HTTP/1.1\r\n"));
  EXPECT_THAT(requests[1], Not(HasSubstr("Content-Length")));
  EXPECT_THAT(requests[1], HasSubstr("X-One: 1\r\nX-Two: two\r\n"));
  EXPECT_THAT(requests[2], HasSubstr("X-One: one\r\nX-Two: two\r\n"));
  EXPECT_THAT(requests[3], HasSubstr("Content-Length: 0\r\n"));
  EXPECT_EQ(server.connections(), 1);
}

TEST(CurlObject, BadAnswersAreFailuresThatTheHandleSurvives) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  struct Row {
    Server::Answer answer;
    int code;
    const char* what;
  };
  const Row rows[] = {
      {Server::ok(std::string(std::size_t{1} << 20, 'x')), 0, "as much as may be"},
      {Server::ok(std::string((std::size_t{1} << 20) + 1, 'x')), CURLE_FILESIZE_EXCEEDED, "more"},
      {{.bytes = ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"}, 0, "chunked"},
      {{.bytes = ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nab", .close = true},
       18,
       "half a chunk"},
      {{.bytes = ok + "Content-Length: 9\r\n\r\nabc", .close = true}, 18, "cut off"},
      {{.bytes = ok + "Content-Length: x\r\n\r\nabc", .close = true}, 8, "no number"},
      {{.bytes = "", .close = true}, 52, "nothing"},
      {{.bytes = "garbage\r\n\r\n", .close = true}, 1, "no HTTP"},
      {{.bytes = ok + "X: " + std::string(CurlObject::kMaxHeaderLine, 'y') + "\r\n\r\n",
        .close = true},
       LIBCURL_VERSION_NUM < 0x080600 ? 27 : 100,  // CURLE_TOO_LARGE
       "a header line that is too long"},
      {{.bytes = ok + "\r\n", .endless = true}, CURLE_FILESIZE_EXCEEDED, "endless"},
  };
  for (const Row& row : rows) {
    const Server bad({row.answer});
    const Server good({Server::ok("good")});
    CurlObject transfer;
    EXPECT_EQ(failureOf(transfer, bad.url()), row.code) << row.what;
    EXPECT_EQ(failureOf(transfer, good.url()), 0) << row.what;
    EXPECT_EQ(transfer.responseBody(), "good") << row.what;
  }
}

TEST(CurlObject, NobodyThereIsNotTheSameAsNoAnswer) {
  std::string closed;
  {
    const Server server({});
    closed = server.url();
  }
  CurlObject transfer;
  EXPECT_THROW((void)transfer.makeRequest(closed, {}, false), CurlUnreachableException);
  // A proxy that speaks does so for the server behind it; one that hangs up at once is as none.
  const Server proxy({{.bytes = "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n"},
                      {.bytes = "", .close = true}});
  transfer.setProxy(proxy.address(), "", "", Shredder());
  for (const bool unreachable : {false, true}) {
    try {
      (void)transfer.makeRequest("http://nowhere.test/", {}, false);
      FAIL();
    } catch (const CurlException& e) {
      EXPECT_EQ(dynamic_cast<const CurlUnreachableException*>(&e) != nullptr, unreachable);
    }
  }
}

TEST(CurlObject, NothingIsSentInClear) {
  const Server server({Server::ok("")});
  Props().set(PN::CLOUD_ALLOW_HTTP, "false");
  LogTexts log;
  CurlObject transfer;
  const std::string refusal =
      "The address '" + server.url("/?OneTimePass=") +
      "(hidden)' does not begin with https://, and nothing is sent in clear";
  EXPECT_THAT([&] { transfer.makeRequest(server.url("/?OneTimePass=x"), "password", true); },
              testing::ThrowsMessage<CurlException>(refusal));
  EXPECT_THAT(log.take("curl.object"), Contains(refusal));
  // Where the library is asked itself, it says no as well: a redirect would ask it.
  transfer.setOption(CURLOPT_URL, server.url());
  EXPECT_EQ(curl_easy_perform(transfer.handle()), CURLE_UNSUPPORTED_PROTOCOL);
  EXPECT_EQ(server.connections(), 0);
}

TEST(CurlObject, AnAnswerSentTwiceIsNotTheNextOnes) {
  Server::Answer twice = Server::ok("first");
  twice.bytes += twice.bytes;
  const Server server({twice, Server::ok("second")});
  CurlObject transfer;
  transfer.makeRequest(server.url(), {}, false);
  EXPECT_EQ(transfer.responseBody(), "first");
  transfer.makeRequest(server.url(), {}, false);
  EXPECT_EQ(transfer.responseBody(), "second");
}

TEST(CurlObject, SilenceHasItsLimit) {
  Props().set(PN::CLOUD_CURL_TIMEOUT, "1");
  Props().set(PN::CLOUD_CONNECT_TIMEOUT, "0.2");
  const auto start = std::chrono::steady_clock::now();
  const Server proxy({{.bytes = {}, .silent = true}});
  CurlObject transfer;
  transfer.setProxy(proxy.address(), "", "", Shredder());
  EXPECT_THROW((void)transfer.makeRequest("http://nowhere.test/", {}, false),
               CurlUnreachableException);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  // A connection that is there already has been answered on before.
  const Server server({Server::ok("a"), {.bytes = {}, .silent = true}});
  transfer.reset(true);
  transfer.makeRequest(server.url(), {}, false);
  try {
    (void)transfer.makeRequest(server.url(), {}, false);
    FAIL();
  } catch (const CurlException& e) {
    EXPECT_EQ(e.code(), CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(dynamic_cast<const CurlUnreachableException*>(&e), nullptr);
  }
  Props().set(PN::CLOUD_CONNECT_TIMEOUT, "5");
}

TEST(CurlObject, HeaderCallbackKeepsLinesUpToItsLimit) {
  CurlObject transfer;
  std::string line(CurlObject::kMaxHeaderLine + 1, 'h');
  EXPECT_EQ(CurlObject::HeaderCallBack(line.data(), 1, line.size(), &transfer), line.size());
  EXPECT_TRUE(transfer.responseHeaders().empty());
  EXPECT_EQ(CurlObject::HeaderCallBack(line.data(), 1, line.size() - 1, &transfer),
            line.size() - 1);
  EXPECT_EQ(transfer.responseHeaders().size(), 1U);
  EXPECT_EQ(CurlObject::HeaderCallBack(nullptr, 1, 5, &transfer), 5U);
  EXPECT_EQ(CurlObject::HeaderCallBack(line.data(), 1, 5, nullptr), 5U);
}

TEST(CurlObject, OptionsAreRecordedAndClearedOnce) {
  CurlObject transfer;
  transfer.setOption(CurlGssOption::servicePrincipal, std::string("HTTP/x"));
  EXPECT_TRUE(transfer.isSet(CurlGssOption::servicePrincipal));
  transfer.clearOption(CurlGssOption::servicePrincipal);
  EXPECT_FALSE(transfer.isSet(CurlGssOption::servicePrincipal));
  transfer.clearOption(CURLOPT_USERAGENT);
  EXPECT_THAT([&] { transfer.setOption(static_cast<CURLoption>(9999), 1L); },
              testing::ThrowsMessage<CurlException>(
                  "curl error occurred in curl_easy_setopt: An unknown option was passed in to "
                  "libcurl (48)"));
}

TEST(CurlObject, CookieThatTheHandleHoldsIsReplacedAndIsInNoLog) {
  const Server server({Server::ok("", "SET-COOKIE: .ASPXAUTH=first; path=/; HttpOnly\r\n"),
                       Server::ok(""), Server::ok(""), Server::ok("")});
  LogTexts log("TRACE");
  CurlObject transfer;
  transfer.makeRequest(server.url("/sso?OneTimePass=c0de"), {}, false);
  EXPECT_EQ(transfer.getCookie(".ASPXAUTH"), "first");
  EXPECT_EQ(transfer.getCookie("other"), "");
  transfer.setCookie(".ASPXAUTH=second;");
  transfer.makeRequest(server.url(), {}, false);
  transfer.clearCookies();
  transfer.makeRequest(server.url(), {}, false);
  transfer.setCookie(".ASPXAUTH=third;");
  transfer.makeRequest(server.url(), {}, false);
  const std::vector<std::string> requests = server.requests();
  EXPECT_THAT(requests[1], HasSubstr("Cookie: .ASPXAUTH=second\r\n"));
  EXPECT_THAT(requests[2], Not(HasSubstr("Cookie:")));
  EXPECT_THAT(requests[3], HasSubstr("Cookie: .ASPXAUTH=third;\r\n"));
  const std::vector<std::string> texts = log.take("curl.object");
  EXPECT_THAT(texts, Contains("SET-COOKIE: (hidden)"));
  EXPECT_THAT(texts, Each(Not(ContainsRegex("first|second|c0de"))));
}

TEST(CurlObject, ProxyPasswordArrivesAsItIsAndNowhereElse) {
  const std::string denied =
      "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: NTLM\r\n"
      "Proxy-Authenticate: Negotiate\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"
      "Content-Length: 0\r\n\r\n";
  const Server proxy({{.bytes = denied}});
  LogTexts log("TRACE");
  CurlObject transfer;
  transfer.setProxy(proxy.address(), "Basic", "us er@lab.test", Shredder("p%41:ss\xc3\xbc"));
  transfer.makeRequest("http://nowhere.test/", {}, false);
  EXPECT_EQ(transfer.responseCode(), 407);
  ASSERT_EQ(proxy.requests().size(), 1U);
  // base64 of "us er@lab.test:p%41:ssü"
  const std::string credential = "dXMgZXJAbGFiLnRlc3Q6cCU0MTpzc8O8";
  EXPECT_THAT(proxy.requests()[0], StartsWith("GET http://nowhere.test/ HTTP/1.1\r\n"));
  EXPECT_THAT(proxy.requests()[0], HasSubstr("Proxy-Authorization: Basic " + credential));
  EXPECT_THAT(log.take("cloud.proxy.gss"), Not(Contains(HasSubstr("HEADER"))));  // nor the KDC
  const std::vector<std::string> texts = log.take("curl.object");
  EXPECT_THAT(texts, Contains(HasSubstr("The user name format \"us er@lab.test\" for 'ntlm'")));
  EXPECT_THAT(texts, Contains("Proxy-Authorization: (hidden)"));
  EXPECT_THAT(texts, Each(Not(ContainsRegex(credential + "|%41:ss"))));
}

TEST(CurlObject, ProxyOfTheEnvironmentDoesNotCount) {
  const Server proxy({Server::ok("proxy")});
  const Server server({Server::ok("direct"), Server::ok("direct")});
  ::setenv("http_proxy", proxy.url().c_str(), 1);
  CurlObject transfer;
  transfer.makeRequest(server.url(), {}, false);
  EXPECT_EQ(transfer.responseBody(), "direct");
  transfer.setProxy("192.0.2.1:8080", "", "", Shredder());
  transfer.reset(true);
  transfer.makeRequest(server.url(), {}, false);
  EXPECT_EQ(transfer.responseBody(), "direct");
  ::unsetenv("http_proxy");
}

TEST(CurlObject, ConnectionThatIsLoggedOnIsNotReused) {
  const Server server({Server::ok(""), Server::ok(""), Server::ok("")});
  CurlObject transfer;
  transfer.setOption(CURLOPT_HTTPAUTH, ProxyAuthMask::negotiate);
  transfer.makeRequest(server.url(), {}, false);
  transfer.clearOption(CURLOPT_HTTPAUTH);
  transfer.makeRequest(server.url(), {}, false);
  transfer.makeRequest(server.url(), {}, false);
  EXPECT_EQ(server.connections(), 2);
}

TEST(CloudJson, JudgesTheAnswer) {
  struct Row {
    const char* body;
    bool success;
  };
  for (const Row& row :
       {Row{R"({"success":true,"a":"b"})", true}, Row{R"({"success":"true"})", false},
        Row{R"({})", false}, Row{R"([])", false}}) {
    const Server server({Server::ok(row.body)});
    CurlObject transfer;
    transfer.makeRequest(server.url(), {}, false);
    json::Document answer;
    EXPECT_EQ(isSuccess(transfer, answer, CloudLog("test")), row.success) << row.body;
  }
  for (const std::string& body :
       {std::string("no JSON"), std::string("{\"a\":\0}", 7), std::string(100, '[')}) {
    const Server server({Server::ok(body)});
    CurlObject transfer;
    transfer.makeRequest(server.url(), {}, false);
    json::Document answer;
    EXPECT_THROW((void)isSuccess(transfer, answer, CloudLog("test")), BadDataException) << body;
  }
  EXPECT_THROW((void)getJsonString(json::Document(), "otc"), CloudException);
  EXPECT_THROW((void)getJsonString(json::parse(R"({"otc":1})"), "otc"), CloudException);
}

}  // namespace
}  // namespace tolk::test
