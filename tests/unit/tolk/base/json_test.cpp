// JSON from a peer that may be broken or hostile.
#include "tolk/base/json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/failure_of.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

std::string brackets(std::size_t depth) {
  return std::string(depth, '[') + "1" + std::string(depth, ']');
}

TEST(Json, RefusesWhatIsNoSingleValue) {
  struct Row {
    const char* about;
    std::string text;
    std::string reason;
  };
  const Row rows[] = {
      {"empty", "", "Bad JSON at byte 0: The document is empty."},
      {"cut", R"({"a":)", "Bad JSON at byte 5: Invalid value."},
      {"two values", "{}{}", "Bad JSON at byte 2: "},
      {"NUL behind the value", "{}\0x"s, "Bad JSON at byte 2: NUL byte."},
      {"bytes that are not UTF-8", "\"\xC3(\"", "Invalid encoding"},
      {"half a surrogate pair", R"("\ud800")", "surrogate"},
      {"number beyond doubles", "1e400", "Number too big"},
      {"one level too deep", brackets(33), "Nested more than 32 deep."},
      {"objects too deep", std::string(32, '[') + R"({"a":1}])", "Nested more than 32 deep."},
      {"two million brackets", std::string(2'000'000, '['), "Nested more than 32 deep."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    EXPECT_THAT(test::failureOf<BadDataException>([&] { return json::parse(row.text); }),
                HasSubstr(row.reason));
  }
}

TEST(Json, DepthCountsWhatIsOpenNotWhatWasOpened) {
  EXPECT_TRUE(json::parse(brackets(32)).IsArray());
  std::string wide = "[";
  for (int i = 0; i < 1000; ++i) wide += R"([{}],)";
  EXPECT_EQ(json::parse(wide + "1]").Size(), 1001U);
}

TEST(Json, TextsKeepEveryByteAndMustBeUtf8) {
  const json::Document value = json::parse(R"({"a":"x\u0000y\u20AC","a":"second"})");
  EXPECT_EQ(json::stringMember(value, "a"), "x\0y\u20AC"s);
  json::Document out(rapidjson::kArrayType);
  out.PushBack(json::makeString("x\0y\u20AC"s, out.GetAllocator()), out.GetAllocator());
  EXPECT_EQ(json::write(out), "[\"x\\u0000y\u20AC\"]");
  out.PushBack(json::makeString("\xFF", out.GetAllocator()), out.GetAllocator());
  EXPECT_THROW((void)json::write(out), BadDataException);
}

TEST(Json, WrongUseThrowsInsteadOfReadingOtherMemory) {
  const json::Document value = json::parse(R"({"n":1,"s":"x","z":null})");
  EXPECT_THROW((void)value["absent"], BadDataException);
  EXPECT_THROW((void)value["n"].GetString(), BadDataException);
  EXPECT_THROW((void)json::stringMember(value, "n"), BadDataException);
  EXPECT_THROW((void)json::integerMember(value, "s"), BadDataException);
  EXPECT_THROW((void)json::stringMember(value, "z"), BadDataException);
  EXPECT_EQ(json::findMember(value, "z"), nullptr);
  EXPECT_EQ(json::findMember(value["n"], "n"), nullptr);
}

}  // namespace
}  // namespace tolk
