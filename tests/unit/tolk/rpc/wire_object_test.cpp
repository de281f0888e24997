// Directory objects on the wire: text, bytes, and what is neither.
#include "tolk/rpc/wire_object.h"

#include <gtest/gtest.h>

#include "tolk/base/exceptions.h"
#include "tolk/rpc/mfa_step.h"

namespace tolk {
namespace {

TEST(Base64, Rfc4648Section10) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(base64Encode(bytes), text);
    EXPECT_EQ(base64Decode(text), bytes);
  }
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(base64Decode(base64Encode(all)), all);
}

TEST(Base64, WhatIsNoneIsRefused) {
  for (const char* text :
       {"Zg", "Zg=", "Z===", "====", "Zm9v=", "Zm9*", "Z=g=", "Zm 9", "Zm9vZ\xC3g="}) {
    EXPECT_THROW((void)base64Decode(text), BadDataException) << text;
  }
}

TEST(WireObject, CarriesTextAndBytes) {
  ADObject object("CN=höst1,DC=example,DC=com");
  object["objectSid"] = std::string("\x01\x05\x00\x00\xFF", 5);
  object["servicePrincipalName"] =
      std::vector<std::string>{"HOST/host1", "", std::string("a\0b", 3)};
  object["memberOf"] = std::vector<std::string>();
  json::Document memory;
  const std::string text = json::write(objectToJson(object, memory.GetAllocator()));
  EXPECT_EQ(
      text,
      R"({"dn":"CN=höst1,DC=example,DC=com","attributes":[)"
      R"({"name":"memberOf","values":[]},)"
      R"({"name":"objectSid","values":[{"base64":"AQUAAP8="}]},)"
      R"({"name":"servicePrincipalName","values":[{"text":"HOST/host1"},{"text":""},{"text":"a\u0000b"}]}]})");

  const ADObject copy = objectFromJson(json::parse(text));
  EXPECT_EQ(copy.dn(), object.dn());
  EXPECT_EQ(copy.attributeNames(), object.attributeNames());
  for (const std::string& name : object.attributeNames()) {
    EXPECT_EQ(copy.getStrings(name), object.getStrings(name)) << name;
  }
  EXPECT_TRUE(copy.attributeExists("memberOf", false));
  EXPECT_FALSE(copy.attributeExists("memberOf", true));
}

TEST(WireObject, AnotherShapeIsBadData) {
  for (const char* text : {
           "[]",
           "{}",
           R"({"dn":1,"attributes":[]})",
           R"({"dn":"x","attributes":{}})",
           R"({"dn":"x","attributes":[1]})",
           R"({"dn":"x","attributes":[{"name":"a"}]})",
           R"({"dn":"x","attributes":[{"name":"a","values":["v"]}]})",
           R"({"dn":"x","attributes":[{"name":"a","values":[{"text":5}]}]})",
           R"({"dn":"x","attributes":[{"name":"a","values":[{"base64":"?"}]}]})",
       }) {
    EXPECT_THROW((void)objectFromJson(json::parse(text)), BadDataException) << text;
  }
  EXPECT_THROW((void)mfaStepFromJson(
                   json::parse(R"({"session":"","summary":5,"challenge":"","choices":[]})")),
               BadDataException);
}

}  // namespace
}  // namespace tolk
