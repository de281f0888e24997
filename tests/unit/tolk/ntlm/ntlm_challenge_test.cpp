#include "tolk/ntlm/ntlm_challenge.h"

#include <gtest/gtest.h>

#include "tests/support/hex.h"
#include "tests/unit/tolk/ntlm/ntlm_test_messages.h"
#include "tolk/base/exceptions.h"
#include "tolk/net/smb_messages.h"

namespace tolk {
namespace {

using test::avPairs;
using test::fromHex;
using test::toHex;

const std::string kTime = fromHex("8877665544332211");

// MS-NLMP 4.2.4.3.
const char* const kPublished =
    "4e544c4d53535000 02000000 0c000c00 38000000 33828ae2 0123456789abcdef 0000000000000000"
    "24002400 44000000 06007017 0000000f 530065007200760065007200"
    "02000c0044006f006d00610069006e00 01000c00530065007200760065007200 00000000";

std::string_view view(const NtlmOctets& bytes) {
  return {bytes.data(), bytes.size()};
}

TEST(NtlmChallenge, ReadsThePublishedMessage) {
  const NtlmChallenge challenge = parseNtlmChallenge(fromHex(kPublished));
  EXPECT_EQ(challenge.flags, 0xe28a8233);
  EXPECT_EQ(toHex(view(challenge.serverChallenge)), "0123456789abcdef");
  EXPECT_EQ(toHex(challenge.targetInfo),
            "02000c0044006f006d00610069006e0001000c0053006500720076006500720000000000");
  EXPECT_EQ(challenge.netbiosDomain, "Domain");
  EXPECT_FALSE(challenge.time);
}

TEST(NtlmChallenge, CutShortAnywhereItIsRefused) {
  const std::string whole =
      test::challengeMessage(avPairs({{2, "DD"}, {7, kTime}, {6, std::string(4, '\0')}}));
  ASSERT_NO_THROW(parseNtlmChallenge(whole));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_THROW(parseNtlmChallenge(whole.substr(0, size)), BadDataException) << size;
  }
}

struct Malformed {
  const char* description;
  std::string message;
};

std::string patched(std::size_t at, unsigned bytes, std::uint64_t value) {
  std::string message = test::challengeMessage(avPairs({{7, kTime}}));
  return message.replace(at, bytes, LittleEndian().put(value, bytes).bytes());
}

TEST(NtlmChallenge, MalformedMessagesAreRefused) {
  const Malformed rows[] = {
      {"another signature", patched(0, 1, 'X')},
      {"a message of type 3", patched(8, 4, 3)},
      {"no Unicode", patched(20, 4, test::kServerFlags & ~NtlmFlag::kUnicode)},
      {"target information behind the end", patched(44, 4, 0xffffffff)},
      {"target information too long", patched(40, 2, 0xffff)},
      {"target information empty", patched(40, 2, 0)},
      {"end of the list outside of it", patched(40, 2, 12)},
      {"a pair longer than the list", patched(56, 4, 13U << 16U | 9U)},
      {"short time stamp", test::challengeMessage(avPairs({{7, "1234"}}))},
      {"half a letter", test::challengeMessage(avPairs({{2, "DDD"}}))},
      {"half a surrogate pair", test::challengeMessage(avPairs({{4, fromHex("3dd8")}}))},
      {"long flags", test::challengeMessage(avPairs({{6, "12345"}}))},
  };
  for (const Malformed& row : rows) {
    SCOPED_TRACE(row.description);
    EXPECT_THROW(parseNtlmChallenge(row.message), BadDataException);
  }
}

struct PairCase {
  const char* description;
  std::string list;
  std::string flagged;
  bool hasTime;
};

TEST(NtlmChallenge, PairsInAnyOrder) {
  const std::string flagsOf1 = fromHex("01000000");
  const std::string flagsOf3 = fromHex("03000000");
  const std::string flagsOf2 = fromHex("02000000");
  const PairCase rows[] = {
      {"no pair", avPairs({}), avPairs({{6, flagsOf2}}), false},
      {"time first", avPairs({{7, kTime}, {1, "S\0"}}),
       avPairs({{7, kTime}, {1, "S\0"}, {6, flagsOf2}}), true},
      {"flags first", avPairs({{6, flagsOf1}, {1, "S\0"}, {7, kTime}}),
       avPairs({{6, flagsOf3}, {1, "S\0"}, {7, kTime}}), true},
      {"empty and unknown pairs", avPairs({{9, ""}, {0xfffe, "x"}, {7, kTime}}),
       avPairs({{9, ""}, {0xfffe, "x"}, {7, kTime}, {6, flagsOf2}}), true},
      {"bytes behind the end of the list", avPairs({{7, kTime}}) + "behind",
       avPairs({{7, kTime}, {6, flagsOf2}}), true},
  };
  for (const PairCase& row : rows) {
    SCOPED_TRACE(row.description);
    const NtlmChallenge challenge = parseNtlmChallenge(test::challengeMessage(row.list));
    EXPECT_EQ(challenge.time.has_value(), row.hasTime);
    if (challenge.time) {
      EXPECT_EQ(view(*challenge.time), kTime);
    }
    EXPECT_EQ(toHex(withIntegrityFlag(challenge.targetInfo)), toHex(row.flagged));
  }
}

TEST(NtlmChallenge, WithoutTheFlagTheTargetInformationIsNotLookedAt) {
  std::string message = test::challengeMessage("", test::kServerFlags & ~NtlmFlag::kTargetInfo);
  message.replace(44, 4, "\xff\xff\xff\xff");
  EXPECT_EQ(parseNtlmChallenge(message).targetInfo, "");
}

}  // namespace
}  // namespace tolk
