// The client's messages, checked the way a server checks them.
#include "tolk/ntlm/ntlm_ssp.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/hex.h"
#include "tests/unit/tolk/ntlm/ntlm_test_messages.h"
#include "tolk/base/exceptions.h"
#include "tolk/net/smb_messages.h"
#include "tolk/ntlm/ntlm_crypto.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

using test::fieldAt;
using test::toHex;

constexpr unsigned kFlags = 0xe008b297;
const std::string kTime = "12345678";

NtlmSSP client(const std::string& user, const std::string& password = "Password") {
  return {"", "", user, Shredder(password), kFlags, 2, false};
}

NtlmKey keyFrom(std::string_view bytes) {
  NtlmKey key;
  std::ranges::copy(octets(bytes), key->begin());
  return key;
}

// What a server that knows the user's password finds in a type 3 message.
struct Finding {
  std::string targetInfo;
  std::string time;
  bool ntProven = false;
  NtlmKey sessionKey;
};

Finding check(const std::string& message, const std::string& upperUser, const std::string& domain,
              const std::string& password) {
  EXPECT_EQ(fieldAt(message, 36), toUtf16(upperUser)) << "test users are in upper case";
  EXPECT_EQ(fieldAt(message, 28), toUtf16(domain));
  const NtlmKey key = ntlmKeyedHash(ntlmPasswordHash(Shredder(password)),
                                    {fieldAt(message, 36), fieldAt(message, 28)});
  const std::string challenge = test::fromHex("0123456789abcdef");
  const std::string nt = fieldAt(message, 20);
  const std::string base = nt.substr(0, 16);
  Finding finding;
  finding.time = nt.substr(24, 8);
  finding.targetInfo = nt.substr(44, nt.size() - 48);
  finding.ntProven = bytesOf(ntlmKeyedHash(key, {challenge, nt.substr(16)})) == base;
  finding.sessionKey = ntlmSessionBaseKey(key, nt);
  const std::string encrypted = fieldAt(message, 52);
  if (!encrypted.empty()) {
    finding.sessionKey = ntlmExchangeKey(finding.sessionKey, keyFrom(encrypted));
  }
  return finding;
}

TEST(NtlmSSP, FirstMessageIs32BytesWithTheGivenFlags) {
  EXPECT_EQ(toHex(client("alice").getMsgType1()),
            "4e544c4d53535000"
            "01000000"
            "97b208e0"
            "0000000020000000"
            "0000000020000000");
}

using Pairs = std::vector<std::pair<unsigned, std::string>>;

TEST(NtlmSSP, TheMessagesAreSealedByAnIntegrityCodeWithATimeStampAndWithout) {
  const Pairs named{{2, toUtf16("LAB")}};
  const Pairs stamped{{7, kTime}, {2, toUtf16("LAB")}};
  for (const Pairs& pairs : {stamped, named}) {
    NtlmSSP ssp = client("ALICE");
    const std::string type1 = ssp.getMsgType1();
    const std::string type2 = test::challengeMessage(test::avPairs(pairs));
    ssp.setMsgType2(type2);
    std::string type3 = ssp.getMsgType3();
    const Finding finding = check(type3, "ALICE", "LAB", "Password");
    EXPECT_TRUE(finding.ntProven);
    Pairs flagged = pairs;
    flagged.emplace_back(6, std::string("\2\0\0\0", 4));
    EXPECT_EQ(finding.targetInfo, test::avPairs(flagged));
    EXPECT_EQ(fieldAt(type3, 12), std::string(24, '\0'));
    EXPECT_EQ(readLittle(type3, 60, 4), (kFlags & test::kServerFlags) | NtlmFlag::kTargetInfo);
    EXPECT_EQ(toHex(bytesOf(ssp.sessionKey())), toHex(bytesOf(finding.sessionKey)));
    const std::string code = type3.substr(72, 16);
    type3.replace(72, 16, std::string(16, '\0'));
    EXPECT_EQ(toHex(bytesOf(ntlmKeyedHash(finding.sessionKey, {type1, type2, type3}))),
              toHex(code));
    constexpr std::uint64_t kYear2024 = 133485408000000000;
    constexpr std::uint64_t kYear2124 = 165041280000000000;
    const std::uint64_t time = readLittle(finding.time, 0, 8);
    EXPECT_TRUE(finding.time == kTime || (time > kYear2024 && time < kYear2124));
  }
}

TEST(NtlmSSP, WithoutTargetInformationThereIsNoListInTheResponse) {
  NtlmSSP ssp = client("ALICE");
  ssp.setMsgType2(test::challengeMessage("", test::kServerFlags & ~NtlmFlag::kTargetInfo));
  const Finding finding = check(ssp.getMsgType3(), "ALICE", "", "Password");
  EXPECT_TRUE(finding.ntProven);
  EXPECT_EQ(finding.targetInfo, "");
}

TEST(NtlmSSP, ASessionKeyOfItsOwnOnlyWhereBothSignAndExchange) {
  constexpr std::uint32_t kSign = NtlmFlag::kSign;
  for (const std::uint32_t missing : {0U, kSign, NtlmFlag::kKeyExchange}) {
    NtlmSSP ssp = client("ALICE");
    ssp.setMsgType2(test::challengeMessage(test::avPairs({}), test::kServerFlags & ~missing));
    EXPECT_EQ(fieldAt(ssp.getMsgType3(), 52).size(), missing == 0 ? 16 : 0) << missing;
  }
}

struct AccountCase {
  const char* account;
  const char* user;
  const char* domain;
};

TEST(NtlmSSP, AccountsAreTakenApart) {
  constexpr AccountCase kCases[] = {
      {"BOB", "BOB", "Default"},      {"Lab\\BOB", "BOB", "Lab"},
      {"\\BOB", "BOB", ""},           {"BOB@LAB.TEST", "BOB@LAB.TEST", ""},
      {"Lab\\BOB@X", "BOB@X", "Lab"}, {"Ünï\\ÜNAL.ÖZ", "ÜNAL.ÖZ", "Ünï"},
  };
  const std::string password = "Gizli-Şifre9 \xF0\x9F\x94\x91";
  for (const AccountCase& row : kCases) {
    SCOPED_TRACE(row.account);
    NtlmSSP ssp("Default", "", row.account, Shredder(password), kFlags, 2, false);
    ssp.setMsgType2(test::challengeMessage(test::avPairs({})));
    EXPECT_TRUE(check(ssp.getMsgType3(), row.user, row.domain, password).ntProven);
  }
}

TEST(NtlmSSP, RefusesWhatItCannotDo) {
  EXPECT_THROW(NtlmSSP("", "", "alice", Shredder("x"), kFlags, 1, false), TOLKException);
  EXPECT_THROW(client("alice").setMsgType2("NTLMSSP"), TOLKException);
  NtlmSSP longName = client(std::string(40000, 'a'));
  longName.setMsgType2(test::challengeMessage(test::avPairs({})));
  EXPECT_THROW(longName.getMsgType3(), TOLKException);
  NtlmSSP crowded = client("alice");  // the response cannot hold all that the server has to say
  crowded.setMsgType2(
      test::challengeMessage(test::avPairs({{7, kTime}, {2, std::string(65500, 'x')}})));
  EXPECT_THROW(crowded.getMsgType3(), TOLKException);
}

}  // namespace
}  // namespace tolk
