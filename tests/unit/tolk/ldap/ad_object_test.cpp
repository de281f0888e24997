#include "tolk/ldap/ad_object.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {
namespace {

template <typename T, typename Read>
std::optional<T> readOrNothing(Read read) {
  try {
    return read();
  } catch (const SystemException&) {
    return std::nullopt;
  }
}

TEST(ADAttribute, NumbersAreDecimalAndInRange) {
  using OptionalInt = std::optional<int>;
  using OptionalBits = std::optional<std::uint32_t>;
  struct Row {
    std::string value;
    OptionalInt number;
    OptionalBits bits;
  };
  const Row rows[] = {
      {"0", 0, 0u},
      {"528384", 528384, 528384u},
      {"-1", -1, 0xffffffffu},
      {"-2147483648", std::numeric_limits<int>::min(), 0x80000000u},
      {"2147483647", std::numeric_limits<int>::max(), 0x7fffffffu},
      {"2147483648", {}, 0x80000000u},
      {"4294967295", {}, 0xffffffffu},
      {"4294967296", {}, {}},
      {"-2147483649", {}, {}},
      {"99999999999999999999999", {}, {}},
      {"", {}, {}},
      {" 1", {}, {}},
      {"1 ", {}, {}},
      {"+1", {}, {}},
      {"0x1C", {}, {}},
      {"1.0", {}, {}},
      {std::string("1\0", 2), {}, {}},
      {"TRUE", {}, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    const ADAttribute attribute({row.value});
    EXPECT_EQ(readOrNothing<int>([&] { return attribute.toInt(); }), row.number);
    EXPECT_EQ(readOrNothing<std::uint32_t>([&] { return attribute.toUInt(); }), row.bits);
  }
  EXPECT_EQ(ADAttribute({"133769999999999999"}).toInt64(), 133769999999999999);
  EXPECT_THROW(static_cast<void>(ADAttribute({"9223372036854775808"}).toInt64()), SystemException);
}

TEST(ADAttribute, TheTextOfAFailureIsShortAndPrintable) {
  const ADAttribute attribute({std::string("\x1b[2J") + std::string(10 << 20, 'x')});
  try {
    static_cast<void>(attribute.toInt());
    FAIL() << "no exception";
  } catch (const SystemException& failure) {
    const std::string text = failure.what();
    EXPECT_LT(text.size(), 200u);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
  }
}

TEST(ADObject, ReadingWhatIsMissingLeavesTheObjectAsItWas) {
  ADObject object("CN=x,DC=lab,DC=test");
  EXPECT_THROW(static_cast<void>(object[AD_SUPPORTED_ENCTYPES].toUInt()), SystemException);
  EXPECT_THROW(static_cast<void>(std::string(object[std::string("name")])), SystemException);
  EXPECT_FALSE(object.attributeExists(AD_SUPPORTED_ENCTYPES, false));
  EXPECT_TRUE(object.empty());
  EXPECT_TRUE(object.attributeNames().empty());
}

TEST(ADObject, NoObjectAnswersLikeAnEmptyOneUntilItIsWrittenTo) {
  ADObject none;
  const ADObject& reader = none;
  EXPECT_FALSE(none);
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(reader.dn(), "");
  EXPECT_EQ(none.getInt(AD_USER_ACCNT_CONTROL, 7), 7);
  EXPECT_THROW(static_cast<void>(reader[AD_DN].toString()), SystemException);
  none.erase(AD_NAME);
  none[TOLK_EXT_FILTER] = 26;
  EXPECT_TRUE(none);
  EXPECT_EQ(none.getString(TOLK_EXT_FILTER, ""), "26");
}

TEST(ADObject, NamesCompareWithoutCaseAndCopiesShareTheObject) {
  ADObject object("CN=x");
  object["dNSHostName"] = std::string("a\0b", 3);
  const ADObject copy = object;
  EXPECT_EQ(copy.getString("DNSHOSTNAME", "").size(), 3u);
  object["DnsHostName"] = std::string("other");
  EXPECT_EQ(copy["dnshostname"].toString(), "other");
  object.erase("dnsHOSTname");
  EXPECT_FALSE(copy.attributeExists("dNSHostName", false));
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

TEST(ADObject, TheNameIsAnAttributeButDoesNotMakeTheObjectFull) {
  const ADObject object("CN=x,DC=lab");
  EXPECT_EQ(object["DISTINGUISHEDNAME"].toString(), "CN=x,DC=lab");
  EXPECT_TRUE(object.empty());
  ADObject changed("CN=x,DC=lab");
  EXPECT_EQ(std::string(changed[AD_DN]), "CN=x,DC=lab");
}

TEST(ADObject, GetIntKeepsBadDataApartFromMissingData) {
  ADObject object("CN=x");
  object[AD_USER_ACCNT_CONTROL] = std::string("many");
  EXPECT_THROW(static_cast<void>(object.getInt(AD_USER_ACCNT_CONTROL, 0)), SystemException);
}

}  // namespace
}  // namespace tolk
