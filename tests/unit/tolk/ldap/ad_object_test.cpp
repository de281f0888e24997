#include "tolk/ldap/ad_object.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "tests/support/failure_of.h"
#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {
namespace {

TEST(ADAttribute, NumbersAreDecimalAndInRange) {
  struct Row {
    std::string value;
    std::optional<int> number;
    std::optional<std::uint32_t> bits;
  };
  const Row rows[] = {
      {"528384", 528384, 528384u},
      {"-1", -1, 0xffffffffu},
      {"-2147483648", std::numeric_limits<int>::min(), 0x80000000u},
      {"2147483648", {}, 0x80000000u},
      {"4294967295", {}, 0xffffffffu},
      {"4294967296", {}, {}},
      {"-2147483649", {}, {}},
      {"99999999999999999999999", {}, {}},
      {"", {}, {}},
      {" 1", {}, {}},
      {"+1", {}, {}},
      {"0x1C", {}, {}},
      {std::string("1\0", 2), {}, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    const ADAttribute attribute({row.value});
    if (row.number) {
      EXPECT_EQ(attribute.toInt(), *row.number);
    } else {
      EXPECT_THROW(static_cast<void>(attribute.toInt()), SystemException);
    }
    if (row.bits) {
      EXPECT_EQ(attribute.toUInt(), *row.bits);
    } else {
      EXPECT_THROW(static_cast<void>(attribute.toUInt()), SystemException);
    }
  }
  EXPECT_EQ(ADAttribute({"133769999999999999"}).toInt64(), 133769999999999999);
  EXPECT_THROW(static_cast<void>(ADAttribute({"9223372036854775808"}).toInt64()), SystemException);
}

TEST(ADAttribute, TheTextOfAFailureIsShortAndPrintable) {
  const ADAttribute attribute({std::string("\x1b[2J") + std::string(10 << 20, 'x')});
  const std::string text = test::failureOf<SystemException>([&] { return attribute.toInt(); });
  EXPECT_NE(text, "");
  EXPECT_LT(text.size(), 200u);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST(ADObject, ReadingWhatIsMissingLeavesTheObjectAsItWas) {
  for (ADObject object : {ADObject("CN=x,DC=lab"), ADObject()}) {
    EXPECT_THROW(static_cast<void>(object[AD_SUPPORTED_ENCTYPES].toUInt()), SystemException);
    EXPECT_FALSE(object.attributeExists(AD_SUPPORTED_ENCTYPES, false));
    EXPECT_EQ(object.getInt(AD_USER_ACCNT_CONTROL, 7), 7);
    EXPECT_TRUE(object.empty());
    object.erase(AD_NAME);
    object[AD_USER_ACCNT_CONTROL] = std::string("many");
    EXPECT_THROW(static_cast<void>(object.getInt(AD_USER_ACCNT_CONTROL, 0)), SystemException);
    EXPECT_FALSE(object.empty());
  }
}

TEST(ADObject, NamesCompareWithoutCaseAndCopiesShareTheObject) {
  ADObject object("CN=x,DC=lab");
  object["dNSHostName"] = std::string("a\0b", 3);
  const ADObject copy = object;
  EXPECT_EQ(copy.getString("DNSHOSTNAME", "").size(), 3u);
  object["DnsHostName"] = std::string("other");
  EXPECT_EQ(copy["dnshostname"].toString(), "other");
  object.erase("dnsHOSTname");
  EXPECT_FALSE(copy.attributeExists("dNSHostName", false));
  EXPECT_EQ(copy["DISTINGUISHEDNAME"].toString(), "CN=x,DC=lab");
}

TEST(ADObject, AnAttributeWithoutValuesExistsButHasNone) {
  ADObject object("CN=x");
  object["member"] = std::vector<std::string>();
  EXPECT_TRUE(object.attributeExists("member", false));
  EXPECT_FALSE(object.attributeExists("member", true));
  EXPECT_EQ(object.getString("member", "fallback"), "fallback");
  object["member"] = std::vector<std::string>{""};
  EXPECT_TRUE(object.attributeExists("member", true));
  EXPECT_EQ(object.getString("member", "fallback"), "");
}

}  // namespace
}  // namespace tolk
