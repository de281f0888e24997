// Logons against servers on the loopback that behave in all the ways a server can.
#include "tolk/ntlm/smb_user.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <numeric>

#include "tests/support/hex.h"
#include "tests/support/tcp_port.h"
#include "tests/unit/tolk/net/loopback_server.h"
#include "tests/unit/tolk/ntlm/ntlm_test_messages.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/smb_session_messages.h"

namespace tolk {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kSession = 0x1122334455667788;

// An answer and what can be wrong with it.
struct AnswerFields {
  std::uint32_t status = 0;
  std::uint64_t messageId = 0;
  std::uint16_t command = 1;
  std::uint16_t credits = 1;
  std::uint64_t session = kSession;
  std::uint32_t flags = 1;
  std::string signature = std::string(16, '\0');
};

// Of accepted() with the key 00 01 .. 0f, reckoned by other programs.
const std::string kHmacSignature = test::fromHex("a8929a26baac6cefb58dccfb0455bafe");
const std::string kCmacSignature = test::fromHex("3170d291e6c84d5bdcc5881eeab60d5e");

NtlmKey sessionKey() {
  NtlmKey key;
  std::iota(key->begin(), key->end(), std::uint8_t{0});
  return key;
}

std::string header(const AnswerFields& fields) {
  LittleEndian message;
  message.append(kSmbProtocolId).put(64, 2).put(0, 2).put(fields.status, 4).put(fields.command, 2);
  message.put(fields.credits, 2).put(fields.flags, 4).put(0, 4).put(fields.messageId, 8).put(0, 8);
  return message.put(fields.session, 8).append(fields.signature).bytes();
}

std::string negotiated(std::uint16_t dialect = 0x0302, std::uint16_t credits = 1) {
  LittleEndian body;
  body.put(65, 2).put(1, 2).put(dialect, 2).put(0, 58);
  return header({.command = 0, .credits = credits, .session = 0}) + body.bytes();
}

std::string session(const AnswerFields& fields, const std::string& token, std::uint16_t flags = 0) {
  LittleEndian body;
  body.put(9, 2).put(flags, 2).put(72, 2).put(token.size(), 2).append(token);
  return header(fields) + body.bytes();
}

std::string challenged(const std::string& token = "challenge") {
  return session({.status = SmbStatus::kMoreProcessingRequired, .messageId = 1}, token);
}

std::string accepted(std::uint16_t sessionFlags = 0, std::uint32_t flags = 9,
                     const std::string& signature = kCmacSignature) {
  return session({.messageId = 2, .flags = flags, .signature = signature}, "done", sessionFlags);
}

// Answers the n-th request with the n-th group of bytes, already framed; hangs up behind the last.
class Script {
 public:
  explicit Script(std::vector<std::string> answers) : answers_(std::move(answers)) {}

  std::optional<std::string> operator()(const std::string& received) {
    if (received.size() - seen_ < 4) return std::nullopt;
    const auto size =
        static_cast<std::size_t>(static_cast<unsigned char>(received[seen_ + 2]) << 8 |
                                 static_cast<unsigned char>(received[seen_ + 3]));
    if (received.size() - seen_ - 4 < size) return std::nullopt;
    seen_ += 4 + size;
    return next_ < answers_.size() ? answers_[next_++] : std::string();
  }

 private:
  std::vector<std::string> answers_;
  std::size_t seen_ = 0;
  std::size_t next_ = 0;
};

class SmbUserTest : public testing::Test {
 protected:
  void SetUp() override { Props().set(PN::SMB_SESSION_TIMEOUT, "20"); }

  // The result of a logon, or the text of the failure.
  std::string logon(const std::vector<std::string>& frames) {
    test::LoopbackServer server;
    const sockaddr_in address = server.tcp(Script(frames));
    server.start();
    return logonAt(address);
  }

  std::string logonAt(const sockaddr_in& address) {
    try {
      SmbUser user;
      user.connect("dc9", {address});
      challenge = user.startSession("negotiate");
      const int status = user.finishSession("authenticate", out);
      if (status == 0) user.requireSignature(sessionKey());
      return std::to_string(static_cast<unsigned>(status));
    } catch (const TOLKException& failure) {
      return failure.what();
    }
  }

  std::string challenge;
  std::string out;
};

std::vector<std::string> framed(const std::vector<std::string>& messages) {
  std::vector<std::string> frames;
  frames.reserve(messages.size());
  for (const std::string& message : messages) frames.push_back(smbFrame(message));
  return frames;
}

TEST_F(SmbUserTest, AGoodLogonGivesWhatTheServerSaid) {
  EXPECT_EQ(logon(framed({negotiated(), challenged(), accepted()})), "0");
  EXPECT_EQ(challenge, "challenge");
  EXPECT_EQ(out, "done");
}

TEST_F(SmbUserTest, TheRequestsCarrySessionNumberAndToken) {
  test::LoopbackServer server;
  std::promise<std::string> all;
  int answers = 0;
  Script script(framed({negotiated(), challenged(), accepted()}));
  const sockaddr_in address = server.tcp([&](const std::string& received) {
    auto answer = script(received);
    if (answer && ++answers == 3) all.set_value(received);
    return answer;
  });
  server.start();
  EXPECT_EQ(logonAt(address), "0");
  const std::string received = all.get_future().get();
  std::string expected = encodeSessionSetup(1, 0, "negotiate");
  const std::size_t start = received.find(smbFrame(expected));
  ASSERT_NE(start, std::string::npos);
  EXPECT_EQ(received.substr(start),
            smbFrame(expected) + smbFrame(encodeSessionSetup(2, kSession, "authenticate")));
  EXPECT_EQ(readLittle(expected, 64 + 12, 2), 88);
  EXPECT_EQ(expected.substr(88), "negotiate");
}

TEST_F(SmbUserTest, InterimAnswersAndNoticesArePassedOver) {
  const AnswerFields pending{.status = SmbStatus::kPending, .messageId = 2, .credits = 5};
  const AnswerFields notice{.messageId = ~std::uint64_t{0}, .command = 18};
  const auto empty = [](const AnswerFields& fields) {
    return smbFrame(header(fields) + LittleEndian().put(9, 2).put(0, 6).bytes());
  };
  const AnswerFields noCredit{
      .status = SmbStatus::kMoreProcessingRequired, .messageId = 1, .credits = 0};
  const AnswerFields first{.status = SmbStatus::kPending, .messageId = 1, .credits = 1};
  EXPECT_EQ(logon({smbFrame(negotiated()) + empty(notice),
                   empty(first) + smbFrame(session(noCredit, "challenge")),
                   empty(pending) + empty(notice) + smbFrame(accepted())}),
            "0");
}

struct Failure {
  const char* description;
  std::vector<std::string> frames;
  const char* message;
};

TEST_F(SmbUserTest, WhatAServerCanDoWrongIsNamedWithServerAndStep) {
  const AnswerFields refused{.status = 0xC00000BB, .messageId = 1};
  std::string smb1 = negotiated();
  smb1[0] = '\xff';
  const Failure rows[] = {
      {"hangs up", {}, "dc9: SMB negotiate: the server has closed the connection"},
      {"speaks SMB 1", framed({smb1}), "dc9: SMB negotiate: the answer is not SMB 2"},
      {"speaks HTTP", {"HTTP/1.0 400 Bad\r\n\r\n"}, "dc9: SMB negotiate: the answer is not SMB 2"},
      {"announces 16 MiB",
       {std::string("\0\xff\xff\xff", 4)},
       "dc9: SMB negotiate: the answer is not SMB 2"},
      {"empty frame", {std::string(4, '\0')}, "dc9: SMB negotiate: the answer is not SMB 2"},
      {"other dialect", framed({negotiated(0x02ff)}),
       "dc9: SMB negotiate: the answer chooses a dialect that was not offered"},
      {"no credit", framed({negotiated(0x0302, 0)}),
       "dc9: SMB session set-up, challenge: the server grants no further request"},
      {"refuses the first message", framed({negotiated(), session(refused, "")}),
       "dc9: SMB session set-up, challenge: The request is not supported."},
      {"does not ask", framed({negotiated(), session({.messageId = 1}, "")}),
       "dc9: SMB session set-up, challenge: the server did not ask for a password"},
      {"guest", framed({negotiated(), challenged(), accepted(1)}),
       "dc9: SMB session set-up, response: the server let the user in as guest, without checking "
       "the password"},
      {"anonymous", framed({negotiated(), challenged(), accepted(2)}),
       "dc9: SMB session set-up, response: the server let the user in anonymously"},
      {"another session",
       framed({negotiated(), challenged(), session({.messageId = 2, .session = 5}, "")}),
       "dc9: SMB session set-up, response: the answer is for another session"},
      {"another command",
       framed({negotiated(), challenged(), session({.messageId = 2, .command = 3}, "")}),
       "dc9: SMB session set-up, response: the answer is to another request"},
      {"hangs up at the end", framed({negotiated(), challenged()}),
       "dc9: SMB session set-up, response: the server has closed the connection"},
  };
  for (const Failure& row : rows) {
    SCOPED_TRACE(row.description);
    EXPECT_EQ(logon(row.frames), row.message);
  }
}

struct Acceptance {
  const char* description;
  std::uint16_t dialect;
  std::uint32_t flags;
  std::string signature;
  const char* result;
};

TEST_F(SmbUserTest, AnAcceptanceCountsOnlyWithTheSignatureOfItsDialect) {
  const char* const wrong =
      "dc9: SMB session set-up, response: the signature of the answer is wrong, so no controller "
      "has checked the password";
  const char* const missing =
      "dc9: SMB session set-up, response: the answer is not signed, so nothing shows that a "
      "controller has checked the password";
  const Acceptance rows[] = {
      {"2.0.2", 0x0202, 9, kHmacSignature, "0"},
      {"2.1", 0x0210, 9, kHmacSignature, "0"},
      {"3.0", 0x0300, 9, kCmacSignature, "0"},
      {"nothing but the status", 0x0210, 1, std::string(16, '\0'), missing},
      {"right, but not announced", 0x0302, 1, kCmacSignature, missing},
      {"announced, but zero", 0x0302, 9, std::string(16, '\0'), wrong},
      {"one bit off", 0x0210, 9, kHmacSignature.substr(0, 15) + '\xff', wrong},
      {"of an older dialect", 0x0302, 9, kHmacSignature, wrong},
      {"without what was said before", 0x0311, 9, kCmacSignature, wrong},
  };
  for (const Acceptance& row : rows) {
    SCOPED_TRACE(row.description);
    EXPECT_EQ(logon(framed(
                  {negotiated(row.dialect), challenged(), accepted(0, row.flags, row.signature)})),
              row.result);
  }
}

TEST_F(SmbUserTest, ASecurityMessageOutsideOfTheAnswerIsRefused) {
  for (const char offset : {'\x08', '\x47', '\x49', '\x50', '\xff'}) {
    std::string answer = challenged();  // its message lies at 0x48 and ends the answer
    answer[68] = offset;
    EXPECT_EQ(logon(framed({negotiated(), answer})),
              "dc9: SMB session set-up, challenge: the answer has its security message outside of "
              "it");
  }
}

TEST_F(SmbUserTest, ARefusedLogonIsAStatusNotAFailure) {
  for (const std::uint32_t status : {0xC000006DU, 0xC0000072U, 0xC0000224U}) {
    const std::string refusal =
        session({.status = status, .messageId = 2, .session = 0}, "").substr(0, 73);
    EXPECT_EQ(logon(framed({negotiated(), challenged(), refusal})), std::to_string(status));
    EXPECT_EQ(out, "");
  }
}

TEST_F(SmbUserTest, AnswersCutShortAnywhereAreRefused) {
  const std::string whole = accepted();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_THAT(logon(framed({negotiated(), challenged(), whole.substr(0, size)})),
                HasSubstr("dc9: SMB session set-up, response: the answer"))
        << size;
  }
}

TEST_F(SmbUserTest, SilenceEndsWithTheConfiguredLimits) {
  Props().set(PN::SMB_SESSION_TIMEOUT, "0.2");
  Props().set(PN::NET_CONNECT_TIMEOUT, "0.3");
  test::LoopbackServer server;
  const sockaddr_in mute = server.tcp([](const std::string&) { return std::nullopt; });
  server.start();
  EXPECT_EQ(logonAt(mute), "dc9: SMB negotiate: no answer within 0.2 s");
  const test::SilentPort silent;
  EXPECT_THAT(logonAt(silent.address()),
              testing::MatchesRegex("dc9: SMB connect: 127.0.0.1:[0-9]+ did not accept a "
                                    "connection within 0.3 s"));
  EXPECT_THAT(logonAt(test::closedAddress()), HasSubstr("dc9: SMB connect: 127.0.0.1:"));
}

TEST_F(SmbUserTest, WithoutAConnectionNothingIsSent) {
  SmbUser user;
  EXPECT_THROW(user.startSession("x"), TOLKException);
  user.disconnect();
}

}  // namespace
}  // namespace tolk
