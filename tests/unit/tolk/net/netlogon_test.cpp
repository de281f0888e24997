#include "tolk/net/netlogon.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/support/hex.h"
#include "tests/unit/tolk/net/cldap_messages.h"
#include "tests/unit/tolk/net/dns_zone.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using test::fromHex;

// As a controller sent it: every name but the first is compressed or shares its end.
const std::string kRecord = fromHex(
    "1700 0000 fd130000 78abd2ebc7aca74bbf4e1e845c0b38b2"
    "03 6c6162 04 74657374 00 c018 03 646331 c018 03 4c4142 00 03 444331 00 00"
    "17 44656661756c742d46697273742d536974652d4e616d65 00 c035 05000000 ffffffff");

TEST(NetlogonRecord, CompressedNamesAreResolved) {
  const NetlogonAnswer answer = parseNetlogonAnswer(kRecord);
  EXPECT_EQ(answer.operation, 23);
  EXPECT_EQ(answer.flags, 0x13fdU);
  EXPECT_EQ(answer.guid.front(), 0x78);
  EXPECT_EQ(answer.guid.back(), 0xb2);
  EXPECT_EQ(answer.forest, "lab.test");
  EXPECT_EQ(answer.domain, "lab.test");
  EXPECT_EQ(answer.host, "dc1.lab.test");
  EXPECT_EQ(answer.netbiosDomain, "LAB");
  EXPECT_EQ(answer.netbiosHost, "DC1");
  EXPECT_EQ(answer.user, "");
  EXPECT_EQ(answer.dcSite, "Default-First-Site-Name");
  EXPECT_EQ(answer.clientSite, "Default-First-Site-Name");
  const std::string names = kRecord.substr(0, kRecord.size() - 8);
  const std::string next = fromHex("04 4e656172 00 15000000 ffffffff");
  EXPECT_EQ(parseNetlogonAnswer(names + next).nextClosestSite, "Near");
}

TEST(NetlogonRecord, CutAnywhereIsBadData) {
  constexpr std::size_t kTail = 8;  // versions behind the names, which are not read
  for (std::size_t size = 0; size < kRecord.size() - kTail; ++size) {
    EXPECT_THROW(parseNetlogonAnswer(kRecord.substr(0, size)), BadDataException) << size;
  }
}

TEST(NetlogonRecord, MaliciousNamesAreBadData) {
  const std::string head = kRecord.substr(0, 24);
  const std::string rest = kRecord.substr(34);
  std::string longName;
  for (int i = 0; i < 5; ++i) longName.append(1, '\x3f').append(63, 'x');
  const std::vector<std::pair<const char*, std::string>> rows{
      {"pointer to itself", fromHex("c018")},
      {"pointer ahead", fromHex("c040")},
      {"pointer into the same name", fromHex("016101 62c01a00")},
      {"pointer beyond the end", fromHex("ffff")},
      {"label of 64 bytes", fromHex("40")},
      {"label kind of no meaning", fromHex("80")},
      {"more than 255 bytes", longName + '\0'},
  };
  for (const auto& [what, name] : rows) {
    const std::string record = std::string(head).append(name).append(rest);
    EXPECT_THROW(parseNetlogonAnswer(record), BadDataException) << what;
  }
}

TEST(NetlogonRecord, OtherOperationsAreRefused) {
  constexpr std::array<std::uint16_t, 7> kOthers{0, 18, 19, 21, 22, 24, 26};
  for (const std::uint16_t operation : kOthers) {
    test::NetlogonFields fields;
    fields.operation = operation;
    EXPECT_THROW(parseNetlogonAnswer(test::netlogonRecord(fields)), BadDataException) << operation;
  }
}

}  // namespace
}  // namespace tolk
