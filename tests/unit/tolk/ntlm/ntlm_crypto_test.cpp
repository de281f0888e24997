// The computations against the values published in MS-NLMP 4.2.4, and the texts that go into them.
#include "tolk/ntlm/ntlm_crypto.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/failure_of.h"
#include "tests/support/hex.h"
#include "tests/unit/tolk/ntlm/ntlm_test_messages.h"
#include "tolk/base/exceptions.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

using test::fromHex;
using test::toHex;

NtlmOctets octetsOf(const std::string& digits) {
  NtlmOctets result{};
  std::ranges::copy(fromHex(digits), result.begin());
  return result;
}

TEST(NtlmCrypto, GivesThePublishedValues) {
  const std::string targetInfo = test::avPairs({{2, toUtf16("Domain")}, {1, toUtf16("Server")}});
  const NtlmResponseInput input{.serverChallenge = octetsOf("0123456789abcdef"),
                                .clientChallenge = octetsOf("aaaaaaaaaaaaaaaa"),
                                .time = {},
                                .targetInfo = targetInfo};
  const NtlmKey hash = ntlmPasswordHash(Shredder("Password"));
  EXPECT_EQ(toHex(bytesOf(hash)), "a4f49c406510bdcab6824ee7c30fd852");
  const NtlmKey key = ntlmResponseKey(hash, "User", "Domain");
  EXPECT_EQ(toHex(bytesOf(key)), "0c868a403bfd7a93a3001ef22ef02e3f");
  const std::string response = ntlmV2Response(key, input);
  EXPECT_EQ(toHex(response),
            "68cd0ab851e51c96aabc927bebef6a1c"
            "01010000000000000000000000000000aaaaaaaaaaaaaaaa00000000"
            "02000c0044006f006d00610069006e0001000c00530065007200760065007200"
            "0000000000000000");
  const NtlmKey base = ntlmSessionBaseKey(key, response);
  EXPECT_EQ(toHex(bytesOf(base)), "8de40ccadbc14a82f15cb0ad0de95ca3");
  NtlmKey session;
  session->fill(0x55);
  EXPECT_EQ(toHex(bytesOf(ntlmExchangeKey(base, session))), "c5dad2544fc9799094ce1ce90bc9d03e");
}

struct TextCase {
  const char* text;
  const char* upper;
  const char* utf16;  // of `upper`
};

TEST(NtlmText, UpperCaseAndUtf16) {
  constexpr TextCase kCases[] = {
      {"alice.1", "ALICE.1", "41004c004900430045002e003100"},
      {"ünal.öz", "ÜNAL.ÖZ", "dc004e0041004c002e00d6005a00"},
      {"жук", "ЖУК", "160423041a04"},
      {"ÿ", "Ÿ", "7801"},
      {"ıſßµაς", "ıſßµაΣ", "31017f01df00b500d010a303"},  // what Windows keeps, and the final sigma
      {"\xF0\x9F\x94\x91", "\xF0\x9F\x94\x91", "3dd811dd"},
      {"\xF0\x90\x90\xA8", "\xF0\x90\x90\x80", "01d800dc"},  // a small letter beyond 16 bits
      {"", "", ""},
  };
  for (const TextCase& row : kCases) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(ntlmUpperCase(row.text), row.upper);
    EXPECT_EQ(toHex(toUtf16(row.upper)), row.utf16);
  }
}

TEST(NtlmText, WhatIsNotUtf8IsRefusedWithoutBeingShown) {
  for (const char* text : {"secret\xff", "secret\xc3", "secret\xed\xa0\x80", "secret\xc0\xaf"}) {
    const std::string failure =
        test::failureOf<TOLKException>([&] { return ntlmPasswordHash(Shredder(text)); });
    EXPECT_NE(failure, "");
    EXPECT_EQ(failure.find("secret"), std::string::npos);
    EXPECT_THROW(toUtf16(text), TOLKException);
    EXPECT_THROW(ntlmUpperCase(text), TOLKException);
  }
}

}  // namespace
}  // namespace tolk
