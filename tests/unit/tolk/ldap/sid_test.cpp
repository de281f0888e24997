#include "tolk/ldap/sid.h"

#include <gtest/gtest.h>

#include <string>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using namespace std::string_literals;

// S-1-5-21-1-2-1103 as objectSid holds it (MS-DTYP 2.4.2.2)
const std::string kBinary =
    "\x01\x04\x00\x00\x00\x00\x00\x05\x15\x00\x00\x00\x01\x00\x00\x00\x02\x00\x00\x00\x4f\x04\x00\x00"s;

TEST(SID, TextAndBinaryFormsAgree) {
  const SID sid = SID::fromBinary(kBinary);
  EXPECT_EQ(sid.toString(), "S-1-5-21-1-2-1103");
  EXPECT_EQ(sid.toDN(), "<SID=S-1-5-21-1-2-1103>");
  EXPECT_EQ(sid.rid(), 1103u);
  EXPECT_EQ(SID("s-1-5-21-1-2-1103").toBinary(), kBinary);
  // an authority beyond 32 bits is hexadecimal
  EXPECT_EQ(SID("S-1-0x123456789ABC-4294967295").toString(), "S-1-0x123456789abc-4294967295");
  EXPECT_EQ(SID("S-1-1-0").toString(), "S-1-1-0");
}

TEST(SID, EveryCutAndPaddedBinaryIsRefused) {
  for (std::size_t size = 0; size < kBinary.size(); ++size) {
    EXPECT_THROW(static_cast<void>(SID::fromBinary(kBinary.substr(0, size))), BadDataException);
  }
  EXPECT_THROW(static_cast<void>(SID::fromBinary(kBinary + '\0')), BadDataException);
  EXPECT_THROW(static_cast<void>(SID::fromBinary("\x02" + kBinary.substr(1))), BadDataException);
  EXPECT_THROW(static_cast<void>(SID::fromBinary("\x01\xff" + kBinary.substr(2))),
               BadDataException);
}

TEST(SID, TextThatIsNoIdentifierIsRefused) {
  for (const std::string text :
       {"", "S-1", "S-1-5", "S-1-5-", "S-2-5-21", "X-1-5-21", "S-1-5-4294967296", "S-1-5--1",
        "S-1-5-21 ", "S-1-5-0x15", "S-1-281474976710656-1",
        "S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(static_cast<void>(SID(text)), BadDataException);
  }
  EXPECT_THROW(static_cast<void>(SID("S-1-5-1\0"s)), BadDataException);
}

}  // namespace
}  // namespace tolk
