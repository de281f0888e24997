#include "tolk/ldap/sid.h"

#include <gtest/gtest.h>

#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/guid.h"

namespace tolk {
namespace {

using namespace std::string_literals;

// S-1-5-21-1-2-1103 as objectSid holds it (MS-DTYP 2.4.2.2)
const std::string kBinary =
    "\x01\x04\x00\x00\x00\x00\x00\x05\x15\x00\x00\x00\x01\x00\x00\x00\x02\x00\x00\x00\x4f\x04\x00\x00"s;

TEST(SID, TextAndBinaryFormsAgree) {
  const SID sid = SID::fromBinary(kBinary);
  EXPECT_EQ(sid.toString(), "S-1-5-21-1-2-1103");
  EXPECT_EQ(sid.rid(), 1103u);
  EXPECT_EQ(SID("s-1-5-21-1-2-1103").toString(), "S-1-5-21-1-2-1103");
  // an authority beyond 32 bits is hexadecimal
  EXPECT_EQ(SID("S-1-0x123456789ABC-4294967295").toString(), "S-1-0x123456789abc-4294967295");
}

TEST(Guid, TextTurnsTheNumbersRound) {
  const std::string bytes = "\xff\x19\x96\x6f\x86\x8b\x11\xd0\xb4\x2d\x00\xc0\x4f\xc9\x64\xff"s;
  EXPECT_EQ(guidText(bytes), "{6f9619ff-8b86-d011-b42d-00c04fc964ff}");
  EXPECT_EQ(guidText(bytes.substr(1)), "");
}

TEST(SID, OtherBytesAndTextsAreRefused) {
  for (std::size_t size = 0; size < kBinary.size(); ++size) {
    EXPECT_THROW(static_cast<void>(SID::fromBinary(kBinary.substr(0, size))), BadDataException);
  }
  for (const std::string& bytes :
       {kBinary + '\0', "\x02" + kBinary.substr(1), "\x01\xff" + kBinary.substr(2)}) {
    EXPECT_THROW(static_cast<void>(SID::fromBinary(bytes)), BadDataException);
  }
  for (const std::string& text :
       {""s, "S-1-5"s, "S-1-5-"s, "S-2-5-21"s, "X-1-5-21"s, "S-1-5-4294967296"s, "S-1-5--1"s,
        "S-1-5-21 "s, "S-1-5-0x15"s, "S-1-5-1\0"s, "S-1-281474976710656-1"s,
        "S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"s}) {
    EXPECT_THROW(static_cast<void>(SID(text)), BadDataException) << text;
  }
}

}  // namespace
}  // namespace tolk
