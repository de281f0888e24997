// The texts of the computer account's report and of the list of duplicate names.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "cli/account/computer_account.h"
#include "cli/account/duplicate_spns.h"
#include "tests/support/captured_output.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

TEST(AccountText, LabelStandsInFrontOfTheFirstItemOnly) {
  std::ostringstream out;
  printLabelledList(out, "  Names: ", {"a", "", "c"});
  EXPECT_EQ(out.str(), "  Names: a\n         \n         c\n");
  out.str("");
  printLabelledList(out, "  Names: ", {});
  EXPECT_EQ(out.str(), "");
}

TEST(AccountText, EncryptionTypesInTheOrderOfTheirBits) {
  struct Case {
    const char* value;  ///< of the attribute; null: it is absent
    const char* expected;
  };
  const Case cases[] = {
      {"28",
       "Supported Encryption Type(s): RC4-HMAC\n"
       "                              AES128-CTS-HMAC-SHA1-96\n"
       "                              AES256-CTS-HMAC-SHA1-96\n"},
      {"3",
       "Supported Encryption Type(s): DES-CBC-CRC\n"
       "                              DES-CBC-MD5\n"},
      {"2147483664", "Supported Encryption Type(s): AES256-CTS-HMAC-SHA1-96\n"},
      {"-2147483644", "Supported Encryption Type(s): RC4-HMAC\n"},
      {"32", ""},
      {"0", ""},
      {nullptr, "Supported Encryption Type(s): N/A\n"},
      {"none", "Supported Encryption Type(s): N/A\n"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.value == nullptr ? "absent" : row.value);
    tolk::ADObject object("CN=x");
    if (row.value != nullptr) object[tolk::AD_SUPPORTED_ENCTYPES] = std::string(row.value);
    const test::CapturedOutput out(std::cout);
    showSupportedEncryptionTypes(object);
    EXPECT_EQ(out.text(), row.expected);
  }
}

tolk::ADObject account(const std::string& name, const std::string& control) {
  tolk::ADObject object("CN=" + name + ",DC=lab,DC=test");
  object[tolk::AD_DN] = object.dn();
  if (!control.empty()) object[tolk::AD_USER_ACCNT_CONTROL] = control;
  return object;
}

std::string duplicates(const tolk::ADObjectList& objects) {
  std::ostringstream out;
  writeDuplicateSpns(out, objects);
  return out.str();
}

TEST(AccountText, DuplicateNamesListEnabledObjects) {
  const std::string heading = "Objects that contain same SPNs.The duplicate SPNs DN are:\n";
  EXPECT_EQ(duplicates({}), "");
  EXPECT_EQ(duplicates({account("HOST1", "4096")}), "");
  EXPECT_EQ(duplicates({account("HOST1", "4096"), account("OLD1", "4098")}),
            heading + "  CN=HOST1,DC=lab,DC=test\n");
  EXPECT_EQ(
      duplicates({account("HOST1", "4096"), account("svc", ""), account("o\xe2\x80\x8b", "x")}),
      heading +
          "  CN=HOST1,DC=lab,DC=test\n  CN=svc,DC=lab,DC=test\n"
          "  CN=o\\u{200B},DC=lab,DC=test\n");
}

}  // namespace
}  // namespace joinscope
